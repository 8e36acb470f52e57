#ifdef VELMO_HAS_NETCDF

#include <velmo/base/MxMemoryLimit.h>
#include <velmo/io/MxNetcdfFile.h>
#include <velmo/io/MxNetcdfHeader.h>
#include <velmo/io/MxNumberText.h>

#include <netcdf.h>

namespace {

std::mutex& netcdfMutex()
{
  static std::mutex s_mutex;
  return s_mutex;
}

} // namespace

MxNetcdfFile::MxNetcdfFile(const MxFileBytes& file) : m_file(file), m_lock(netcdfMutex())
{
  mxCheckNetcdfHeader(file);
  const int status = nc_open(file.getPath().c_str(), NC_NOWRITE, &m_id);
  if (status != NC_NOERR)
    fail(std::string("begins as a netCDF file, but is cut short or damaged (") +
         nc_strerror(status) + ")");
  int format = 0;
  check(nc_inq_format(m_id, &format), "the file");
  m_packed = format == NC_FORMAT_NETCDF4 || format == NC_FORMAT_NETCDF4_CLASSIC;
}

MxNetcdfFile::~MxNetcdfFile()
{
  nc_close(m_id);
}

void MxNetcdfFile::check(int status, const std::string& what) const
{
  if (status != NC_NOERR) fail("cannot read " + what + " (" + nc_strerror(status) + ")");
}

std::size_t MxNetcdfFile::dimension(const std::string& name) const
{
  int id = 0;
  std::size_t length = 0;
  if (nc_inq_dimid(m_id, name.c_str(), &id) != NC_NOERR) return 0;
  check(nc_inq_dimlen(m_id, id, &length), name);
  return length;
}

bool MxNetcdfFile::hasVariable(const std::string& name) const
{
  int id = 0;
  return nc_inq_varid(m_id, name.c_str(), &id) == NC_NOERR;
}

int MxNetcdfFile::variable(const std::string& name) const
{
  int id = 0;
  check(nc_inq_varid(m_id, name.c_str(), &id), name);
  return id;
}

std::string MxNetcdfFile::text(const std::string& name, const char* attribute) const
{
  const int id = name == kGlobal ? NC_GLOBAL : variable(name);
  nc_type type = NC_NAT;
  std::size_t length = 0;
  if (nc_inq_att(m_id, id, attribute, &type, &length) != NC_NOERR || type != NC_CHAR) return {};
  checkFits(length, 1, attribute);
  std::string text(length, '\0');
  check(nc_get_att_text(m_id, id, attribute, text.data()), attribute);
  return text.substr(0, text.find('\0'));
}

void MxNetcdfFile::checkFits(std::size_t count, std::size_t bytesEach,
                             const std::string& what) const
{
  // Packed data may be up to about a thousand times larger than they are in the file.
  constexpr std::size_t kPacking = 1100;
  const std::size_t bytes = m_file.size() * (m_packed ? kPacking : 1);
  if (count > bytes / bytesEach || !mxFitsMemory(count, bytesEach)) refuse(count, what);
}

void MxNetcdfFile::checkNamed(std::size_t count, const std::string& what) const
{
  if (count > m_file.size() / 8) refuse(count, what);
}

void MxNetcdfFile::refuse(std::size_t count, const std::string& what) const
{
  fail(what + " announces " + std::to_string(count) + " items, which the file of " +
       std::to_string(m_file.size()) + " bytes cannot hold");
}

std::vector<std::string> MxNetcdfFile::texts(const std::string& name, std::size_t count) const
{
  const int id = variable(name);
  int rank = 0, dimensions[NC_MAX_VAR_DIMS] = {};
  nc_type type = NC_NAT;
  check(nc_inq_var(m_id, id, nullptr, &type, &rank, dimensions, nullptr), name);
  if (type != NC_CHAR || rank != 2) fail(name + " is no list of texts");
  std::size_t rows = 0, width = 0;
  check(nc_inq_dimlen(m_id, dimensions[0], &rows), name);
  check(nc_inq_dimlen(m_id, dimensions[1], &width), name);
  if (rows < count || width == 0)
    fail(name + " has " + std::to_string(rows) + " texts where " + std::to_string(count) +
         " should be");
  checkFits(count, width, name);
  std::string all(count * width, '\0');
  const std::size_t start[] = {0, 0}, counts[] = {count, width};
  check(nc_get_vara_text(m_id, id, start, counts, all.data()), name);
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < count; ++i) {
    std::string text = all.substr(i * width, width);
    text.resize(std::min(text.size(), text.find('\0')));
    while (!text.empty() && isBlank(text.back()))
      text.pop_back();
    texts.push_back(std::move(text));
  }
  return texts;
}

MiScalarType MxNetcdfFile::realType(const std::string& name) const
{
  nc_type type = NC_NAT;
  check(nc_inq_vartype(m_id, variable(name), &type), name);
  return type == NC_FLOAT ? MiScalarType::Float32 : MiScalarType::Float64;
}

MxFileArray MxNetcdfFile::read(const std::string& name, std::initializer_list<std::size_t> start,
                               std::initializer_list<std::size_t> count, MiScalarType type) const
{
  const int id = variable(name);
  int rank = 0, dimensions[NC_MAX_VAR_DIMS] = {};
  nc_type stored = NC_NAT;
  check(nc_inq_var(m_id, id, nullptr, &stored, &rank, dimensions, nullptr), name);
  if (static_cast<std::size_t>(rank) != start.size())
    fail(name + " has " + std::to_string(rank) + " dimensions, not " +
         std::to_string(start.size()));
  std::size_t total = 1, width = 0;
  check(nc_inq_type(m_id, stored, nullptr, &width), name);
  for (std::size_t d = 0; d < start.size(); ++d) {
    std::size_t length = 0;
    check(nc_inq_dimlen(m_id, dimensions[d], &length), name);
    const std::size_t first = start.begin()[d], wanted = count.begin()[d];
    if (first > length || wanted > length - first)
      fail(name + " has " + std::to_string(length) + " items where " +
           std::to_string(first + wanted) + " should be");
    if (wanted > 0) checkFits(total, wanted, name);
    total *= wanted;
  }
  checkFits(total, width, name);
  MxFileArray array(type, total);
  if (total == 0) return array;
  const std::size_t *const s = start.begin(), *const c = count.begin();
  check(type == MiScalarType::Int64
            ? nc_get_vara_longlong(m_id, id, s, c,
                                   reinterpret_cast<long long*>(array.as<std::int64_t>()))
        : type == MiScalarType::Float32 ? nc_get_vara_float(m_id, id, s, c, array.as<float>())
                                        : nc_get_vara_double(m_id, id, s, c, array.as<double>()),
        name);
  return array;
}

#endif
