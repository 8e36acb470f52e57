#pragma once

#include <velmo/nodes/MoActionNode.h>

#include <Inventor/misc/SoChildList.h>

class SoSeparator;

/// A node that draws what it keeps in a hidden sub-graph.
///
/// Actions that walk children (rendering, bounding boxes, picks, ...) see the sub-graph; searches
/// and files do not, and nothing of it is the application's to edit. A copy of the node builds a
/// sub-graph of its own.
class MoMeshBaseRepresentation : public MoActionNode
{
  MO_NODE_ABSTRACT_HEADER(MoMeshBaseRepresentation);

public:
  /// The list of one child, the hidden root.
  SoChildList* getChildren() const override;
  SbBool affectsState() const override;
  void doAction(SoAction* action) override;
  void notify(SoNotList* list) override;

  /// A field has changed since the hidden root was traversed last; true at first.
  bool isModified() const { return m_isModified; }

protected:
  MoMeshBaseRepresentation();
  ~MoMeshBaseRepresentation() override;

  SoSeparator* getHiddenRoot() const { return m_hiddenRoot; }

private:
  mutable SoChildList m_children;
  SoSeparator* m_hiddenRoot;
  bool m_isModified = true;
};
