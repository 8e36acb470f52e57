#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/nodes/SoNode.h>

/// Base of the library's nodes: every action but search and write ends in doAction.
class MoActionNode : public SoNode
{
  MO_NODE_ABSTRACT_HEADER(MoActionNode);

public:
  void GLRender(SoGLRenderAction* action) override;
  void callback(SoCallbackAction* action) override;
  void getBoundingBox(SoGetBoundingBoxAction* action) override;
  void getMatrix(SoGetMatrixAction* action) override;
  void handleEvent(SoHandleEventAction* action) override;
  void pick(SoPickAction* action) override;
  void rayPick(SoRayPickAction* action) override;
  void search(SoSearchAction* action) override;
  void write(SoWriteAction* action) override;
  void getPrimitiveCount(SoGetPrimitiveCountAction* action) override;

  /// Whether the application may add children: never.
  virtual SbBool isGroup() const;

protected:
  MoActionNode();
  ~MoActionNode() override = default;
};
