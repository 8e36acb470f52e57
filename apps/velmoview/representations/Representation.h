#pragma once

#include <velmoview/Coloring.h>
#include <velmoview/Reach.h>

#include <velmo/io/MbMeshSave.h>
#include <velmo/representation/MoMeshRepresentation.h>

#include <Inventor/nodes/SoGroup.h>
#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <span>
#include <string>
#include <vector>

/// What the command line can ask to draw. A kind of representation is one class and one row in a
/// source of its own, and a line in the table of Table.cpp; the rest of the program knows none of
/// them by name.
namespace velmoview {

/// What a representation extracts, which decides what the report measures.
enum class Extracted
{
  Surface, ///< an area
  Lines,   ///< a length
  Points
};

/// What is drawn, and how.
struct Subject
{
  const Model& model;
  const Options& options;
};

/// Where a representation puts its nodes: a separator of its own, behind the mesh, its data and
/// their appearance.
class Stage
{
public:
  /// @param setCount  sets in the state before it: the one that colours, where there is one
  Stage(const Subject& subject, SoGroup& group, int setCount);

  const Subject& subject() const { return m_subject; }
  SoGroup& group() { return m_group; }
  /// Values colour what is drawn.
  bool isColored() const { return m_isColored; }
  /// Puts an array before the representation, a vector by its length.
  /// @param array  of this model
  /// @return the id that the fields of nodes know it by
  int addScalarSet(const ModelArray& array);

private:
  const Subject& m_subject;
  SoGroup& m_group;
  int m_setCount; ///< sets in the state so far
  bool m_isColored;
};

/// Which of two settings a node gets. Going to the second and back is how re-extraction is
/// measured.
enum class Setting
{
  Asked, ///< what the command line says
  Moved  ///< a little beside it, as when an argument is dragged
};

/// One thing to draw, with the arguments that the command line gave.
class Representation
{
public:
  virtual ~Representation() = default;

  /// The arguments as the report shows them.
  virtual nlohmann::ordered_json arguments() const;
  /// Why the node drew nothing: what would, with its range. Empty when nothing is known.
  virtual std::string whyEmpty(const MoMeshRepresentation&, const Reach&) const { return {}; }
  /// Called for meshes of a kind that is served.
  /// @throw UsageError when the arguments do not fit the mesh
  virtual void check(const Subject&) const {}
  /// Makes the node and adds it to the stage's group, behind whatever else it needs there.
  virtual MoMeshRepresentation* makeNode(Stage& stage) const = 0;
  /// Sets the node's fields.
  virtual void configure(MoMeshRepresentation& node, const Subject& subject,
                         Setting setting) const = 0;
  /// The meshes that the node holds now; none when there are none.
  virtual std::vector<const MiMesh*> extracted(const MoMeshRepresentation& node) const;
  /// The same as they are written to a file, with arrays of their own.
  virtual std::vector<MbExtractedPart> savedParts(const MoMeshRepresentation& node) const;
  /// Adds what only this kind of representation has to tell.
  virtual void addToReport(const MoMeshRepresentation&, nlohmann::ordered_json&) const {}
};

/// A representation that is drawn by nodes of one class.
template <class Node>
class RepresentationOf : public Representation
{
public:
  MoMeshRepresentation* makeNode(Stage& stage) const final
  {
    auto* node = new Node;
    node->ref();
    prepare(*node, stage);
    stage.group().addChild(node);
    node->unref();
    return node;
  }
  void configure(MoMeshRepresentation& node, const Subject& subject, Setting setting) const final
  {
    setFields(static_cast<Node&>(node), subject, setting);
  }

protected:
  /// Done once: what the node needs before it, and fields that do not depend on the setting.
  virtual void prepare(Node&, Stage&) const {}
  virtual void setFields(Node& node, const Subject& subject, Setting setting) const = 0;
};

/// An option that belongs to the representation before it.
struct OwnOption
{
  const char* name;
  const char* takes; ///< empty for a switch
  const char* help;
  /// @throw UsageError
  void (*read)(const OwnOption& option, const std::string& value, Representation& representation);
};

/// Numbers of an extracted mesh's own, one per node or cell; copied.
MbNamedArray ownArray(const char* name, MiDataBinding binding, std::span<const double> values);

/// Bits of mesh kinds.
constexpr std::uint32_t kindBit(MeshType kind)
{
  return std::uint32_t{1} << kind;
}
constexpr std::uint32_t kVolumeKinds = 0x3f;
constexpr std::uint32_t kSurfaceKinds = 0x3c0;
constexpr std::uint32_t kLineKinds = 0x1c00;

/// A kind of representation.
struct RepresentationRow
{
  const char* option;     ///< with its dashes; the report shows it without them
  const char* takes = ""; ///< what follows it; empty for nothing
  const char* help;
  Extracted extracted;
  std::uint32_t kinds;    ///< of mesh that it is made for; the library refuses the others
  bool isDefault = false; ///< drawn when nothing is asked for; the first such row for a kind
  bool takesCellRange =
      false; ///< its node does what --cell-range asks; a cell filter does for the others
  /// Reads what follows the option: several representations where it lists several values.
  /// @throw UsageError
  std::vector<std::shared_ptr<Representation>> (*read)(const RepresentationRow& row,
                                                       const std::string& value);
  std::span<const OwnOption> options = {};

  bool serves(MeshType kind) const { return kind >= 0 && (kinds & kindBit(kind)) != 0; }
};

/// All kinds of representations, in the order of the help text.
std::span<const RepresentationRow* const> representationTable();

} // namespace velmoview
