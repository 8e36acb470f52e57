#pragma once

#include <velmo/extraction/interfaces/MbVec3.h>
#include <velmo/io/MxCellBlocks.h>
#include <velmo/io/MxFileMesh.h>

#include <map>
#include <tuple>

/// A set of nodes or elements by their numbers, as the deck lists them.
struct MxInpSet
{
  struct Range
  {
    std::int64_t first = 0, last = 0, step = 1; ///< first to last, both meant
  };
  std::string name, instance;
  MiDataBinding binding = MiDataBinding::PerNode;
  std::size_t part = 0;
  std::vector<MxFileArray> lists; ///< of Int64
  std::vector<std::int64_t> numbers;
  std::vector<Range> ranges;
  std::vector<std::string> others; ///< names of sets that belong to it
};

/// A part put into the assembly: moved, then turned about an axis.
struct MxInpInstance
{
  std::string name;
  std::size_t part = 0;
  MbVec3d shift, axisFrom, axisTo;
  double degrees = 0;
};

/// Nodes, elements and sets of an .inp deck, part by part. A deck without parts has one; parts
/// without an instance stay where they are.
class MxInpModel
{
public:
  explicit MxInpModel(bool parallel) : m_parallel(parallel), m_parts(1) {}

  void beginPart(const std::string& name);
  void endPart() { m_part = 0; }
  bool findPart(const std::string& name, std::size_t& part) const;
  void addInstance(const MxInpInstance& instance) { m_instances.push_back(instance); }

  void addNodes(const MxFileArray& numbers, const MxFileArray& points);
  /// @param numbers  an element's number and those of its nodes, one after the other
  void addElements(const MxElementType& type, const MxFileArray& numbers, const std::string& set);
  /// The set of the present part, made when it is new.
  MxInpSet& set(const std::string& name, MiDataBinding binding, const std::string& instance = "");
  void addToSet(const std::string& name, MiDataBinding binding, const MxFileArray& numbers);

  void leaveOut(const std::string& what);
  void leaveOutElements(const std::string& type, std::size_t count)
  {
    m_leftOutElements[type] += count;
  }

  /// @throw MbMeshFileError when the deck has no nodes, or more of them than can be
  MxFileMesh finish(const MxFileBytes& file);

private:
  struct Part
  {
    std::string name;
    std::vector<MxFileArray> numbers, points;
    std::size_t nodeCount = 0;
    std::vector<MxCellBlock> blocks;
    MxNumberMap nodes;
  };
  /// A part where it stands: its nodes and cells are consecutive.
  struct Space
  {
    std::size_t part = 0;
    const MxInpInstance* instance = nullptr;
    std::size_t firstNode = 0, firstCell = 0, cellCount = 0;
  };

  void placeParts(const MxFileBytes& file);
  void fillPoints();
  void makeSets();
  const MxInpSet* findLike(const MxInpSet& like, const std::string& name) const;
  bool mark(const MxInpSet& set, const MxNumberMap& places, std::span<const std::int64_t> known,
            std::uint8_t* marks, int depth);
  bool markIn(const MxInpSet& set, std::size_t number, const MxNumberMap& places,
              const MxFileArray& elements, std::uint8_t* marks);

  const bool m_parallel;
  std::vector<Part> m_parts;
  std::map<std::string, std::size_t> m_partNames;
  std::size_t m_part = 0;
  std::vector<MxInpInstance> m_instances;
  std::vector<Space> m_spaces;
  std::vector<MxInpSet> m_sets;
  std::map<std::tuple<MiDataBinding, std::size_t, std::string, std::string>, std::size_t>
      m_setPlaces;                                   ///< by binding, part, instance and name
  std::map<std::string, std::int64_t> m_elementSets; ///< those named with *ELEMENT, from 1
  std::map<std::string, std::size_t> m_leftOutElements;
  std::vector<std::string> m_leftOut;
  MxCellBlocks m_blocks;
  MxFileMesh m_mesh;
  std::size_t m_work = 0; ///< steps that the sets may still take
};
