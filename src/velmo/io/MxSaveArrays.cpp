#include <velmo/io/MxFileArray.h>
#include <velmo/io/MxSaveArrays.h>

namespace {

/// The values of a set without a view, numbered by `sizes`.
template <class T, class Get>
void copyValues(const MbIndex3& sizes, const Get& get, MbNamedArray& array)
{
  const auto values = std::make_shared<std::vector<T>>();
  values->reserve(sizes.x * sizes.y * sizes.z);
  for (std::size_t k = 0; k < sizes.z; ++k)
    for (std::size_t j = 0; j < sizes.y; ++j)
      for (std::size_t i = 0; i < sizes.x; ++i)
        values->push_back(get(i, j, k));
  array.values = {values->data(), MiScalarType::Float64, values->size(), sizeof(T)};
  array.owner = values;
}

template <class T>
bool readSet(const MiDataSet& set, MbNamedArray& array)
{
  const auto read = [&](const auto* own, const MbIndex3& sizes, const auto& get) {
    array.components = sizeof(T) / sizeof(double);
    array.values = own->getView();
    if (!array.values) copyValues<T>(sizes, get, array);
    array.values.count = std::min(array.values.count, sizes.x * sizes.y * sizes.z);
    return true;
  };
  using Index = std::size_t;
  if (const auto* row = dynamic_cast<const MiDataSetI<T>*>(&set))
    return read(row, {row->getSize(), 1, 1},
                [&](Index i, Index, Index) { return row->getValue(i); });
  if (const auto* sheet = dynamic_cast<const MiDataSetIj<T>*>(&set))
    return read(sheet, {sheet->getSizeI(), sheet->getSizeJ(), 1},
                [&](Index i, Index j, Index) { return sheet->getValue(i, j); });
  if (const auto* grid = dynamic_cast<const MiDataSetIjk<T>*>(&set))
    return read(grid, grid->getSizes(),
                [&](Index i, Index j, Index k) { return grid->getValue(i, j, k); });
  return false;
}

} // namespace

MbNamedArray mbNamedArray(const MiDataSet& set)
{
  MbNamedArray array;
  array.name = set.getName();
  array.binding = set.getBinding();
  if (!readSet<double>(set, array)) readSet<MbVec3d>(set, array);
  return array;
}

std::string MxUniqueNames::take(const std::string& name)
{
  std::string result = name;
  for (int number = 2; !m_taken.insert(result).second; ++number)
    result = name + " (" + std::to_string(number) + ")";
  return result;
}

MxOutputArray mxOutputOf(const MbNamedArray& array, std::string name,
                         std::function<std::size_t(std::size_t)> itemAt)
{
  const MiArrayView& view = array.values;
  const std::size_t components = array.components, width = scalarSize(view.type);
  MxOutputArray output{std::move(name), view.type, components, view.count * components, {}};
  const auto* from = static_cast<const std::byte*>(view.data);
  if (!itemAt && view.stride == components * width)
    output.fill = [=](std::size_t first, std::size_t last, std::byte* to) {
      std::memcpy(to, from + first * width, (last - first) * width);
    };
  else
    output.fill = [=, stride = view.stride](std::size_t first, std::size_t last, std::byte* to) {
      for (std::size_t n = first; n < last; ++n, to += width) {
        const std::size_t item = itemAt ? itemAt(n / components) : n / components;
        std::memcpy(to, from + item * stride + n % components * width, width);
      }
    };
  return output;
}

bool mxFits(const MbNamedArray& array, std::size_t items, std::vector<std::string>& notes)
{
  if (array.components > 0 && array.values.count == items && (array.values || items == 0))
    return true;
  notes.push_back("The array '" + array.name + "' has " + std::to_string(array.values.count) +
                  " items for " + std::to_string(items) +
                  (array.binding == MiDataBinding::PerNode ? " nodes" : " cells") +
                  " and is not written.");
  return false;
}

void mxAddTime(MxVtkXmlWriter& file, const MbSaveOptions& options)
{
  if (!options.time) return;
  file.open("FieldData");
  file.add({"TimeValue", MiScalarType::Float64, 1, 1,
            mxFillWith<double>([time = *options.time](std::size_t) { return time; })});
  file.close();
}
