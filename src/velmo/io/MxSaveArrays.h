#pragma once

#include <velmo/io/MbMeshSave.h>
#include <velmo/io/MxVtkXmlWriter.h>

#include <set>

/// Names of one element of a file: a name that is taken gets a number.
class MxUniqueNames
{
public:
  std::string take(const std::string& name);

private:
  std::set<std::string> m_taken;
};

/// The array's numbers as they are.
/// @param itemAt  the item of the array that stands at a place of the file; null for the same
MxOutputArray mxOutputOf(const MbNamedArray& array, std::string name,
                         std::function<std::size_t(std::size_t)> itemAt = nullptr);

/// True when the array has numbers for `items` items; otherwise a note says that it is left out.
bool mxFits(const MbNamedArray& array, std::size_t items, std::vector<std::string>& notes);

/// The field data of a file: its time, if it has one.
void mxAddTime(MxVtkXmlWriter& file, const MbSaveOptions& options);
