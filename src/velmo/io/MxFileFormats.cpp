#include <velmo/io/MxFileFormats.h>
#include <velmo/io/MxStructuredParts.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr MxFileFormat kFormats[] = {
    {"legacy .vtk", mxIsLegacyVtk, mxReadLegacyVtk},
    {".vtu, .vtp, .vti, .vtr, .vts, .pvtu and so on, .pvd", mxIsVtkXml, mxReadVtkXml},
    {".msh", mxIsMsh, mxReadMsh},
    {".inp", mxIsInp, mxReadInp},
    {"Exodus II", mxIsExodus, mxReadExodus},
    {".grdecl", mxIsGrdecl, mxReadGrdecl},
};

constexpr const char* kTimeless = "has no times to choose from";

} // namespace

std::span<const MxFileFormat> mxFileFormats()
{
  return kFormats;
}

void mxReport(const MxReadRequest& request, const MxFileBytes& file, const char* where)
{
  if (request.progress && file.size() > 0)
    request.progress(static_cast<double>(where - file.begin()) / static_cast<double>(file.size()));
}

void mxCheckTime(const MxFileBytes& file, double wanted, double first, double last)
{
  // A time that went through a text or two need not be met to the last bit.
  const double slack = 1e-6 * std::max({std::abs(first), std::abs(last), last - first});
  if (wanted >= first - slack && wanted <= last + slack) return;
  const auto shown = [](double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return std::string(text);
  };
  file.fail("", "the time " + shown(wanted) + " is outside of " + shown(first) +
                    (first == last ? ", the only one" : " .. " + shown(last)));
}

void mxCheckOnlyTime(const MxFileBytes& file, const MxReadRequest& request,
                     const std::optional<double>& time)
{
  if (!request.time) return;
  if (!time) file.fail("", kTimeless);
  mxCheckTime(file, *request.time, *time, *time);
}

MxFileMesh mxReadMeshFile(const std::string& path, const MxReadRequest& request)
{
  const auto file = request.namedBy ? std::make_shared<const MxFileBytes>(path, *request.namedBy)
                                    : std::make_shared<const MxFileBytes>(path);
  if (file->size() == 0) file->fail("", "is empty");
  std::string known;
  for (const MxFileFormat& format : kFormats) {
    if (format.recognises(*file)) {
      MxFileMesh mesh = format.read(*file, request);
      if (request.time && !mesh.time) file->fail("", kTimeless);
      mxApplyGhosts(mesh, request.parallel);
      mesh.files = file->getFamily();
      return mesh;
    }
    known += (known.empty() ? "" : ", ") + std::string(format.name);
  }
  file->fail("", "is of no format that can be read (" + known + ")");
}
