#include <velmo/io/MxFileFormats.h>

namespace {

constexpr MxFileFormat kFormats[] = {
    {"legacy .vtk", mxIsLegacyVtk, mxReadLegacyVtk},
    {".vtu", mxIsVtkXml, mxReadVtkXml},
    {".msh", mxIsMsh, mxReadMsh},
    {".inp", mxIsInp, mxReadInp},
    {"Exodus II", mxIsExodus, mxReadExodus},
    {".grdecl", mxIsGrdecl, mxReadGrdecl},
};

} // namespace

std::span<const MxFileFormat> mxFileFormats()
{
  return kFormats;
}

MxFileMesh mxReadMeshFile(const std::string& path, const MxReadRequest& request)
{
  const auto file = std::make_shared<const MxFileBytes>(path);
  if (file->size() == 0) file->fail("", "is empty");
  std::string known;
  for (const MxFileFormat& format : kFormats) {
    if (format.recognises(*file)) return format.read(*file, request);
    known += (known.empty() ? "" : ", ") + std::string(format.name);
  }
  file->fail("", "is of no format that can be read (" + known + ")");
}
