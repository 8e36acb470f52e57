#include <velmoview/Arrays.h>

#include <velmo/base/MxLength.h>

namespace velmoview {

namespace {

std::string namesOf(const Model& model)
{
  std::string names;
  for (const ModelArray& array : model.arrays)
    names += std::string(names.empty() ? "" : ", ") + ArrayName{array.name, array.binding}.text();
  return names.empty() ? "none" : names;
}

} // namespace

const ModelArray& findArray(const Model& model, const std::string& option, const ArrayName& name)
{
  const ModelArray* array = model.find(name);
  if (!array)
    throw UsageError(option + " takes an array: there is no '" + name.text() + "' in " +
                     model.source + "; it has " + namesOf(model));
  if (!isScalarOrVector(*array))
    throw UsageError(option + " takes an array of one or three numbers: '" + name.text() +
                     "' has " + std::to_string(array->components));
  return *array;
}

bool isScalarOrVector(const ModelArray& array)
{
  return array.set && (array.components == 1 || array.components == 3);
}

double valueOf(const ModelArray& array, std::size_t item)
{
  if (array.components == 1) return mbNumber(array.values, item);
  const MbVec3d v = mbPoint(array.values, item);
  return mxLength(v.x, v.y, v.z);
}

const MiTypedDataSet<double>& scalarsOf(const Model& model, const ModelArray& array)
{
  if (array.components == 1) return dynamic_cast<const MiTypedDataSet<double>&>(*array.set);
  if (!array.lengths) {
    std::vector<float> lengths(array.values.count);
    for (std::size_t item = 0; item < lengths.size(); ++item)
      lengths[item] = static_cast<float>(valueOf(array, item));
    array.lengths =
        makeDataSet<double>(model, array.name, array.binding, MbNumbers(std::move(lengths)));
  }
  return dynamic_cast<const MiTypedDataSet<double>&>(*array.lengths);
}

} // namespace velmoview
