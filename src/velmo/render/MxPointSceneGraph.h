#pragma once

#include <velmo/render/MxMeshSceneGraph.h>

/// Points in "MainStyle" and nothing else.
class MxPointSceneGraph final : public MxMeshSceneGraph
{
public:
  explicit MxPointSceneGraph(SoSeparator* root);

  bool requireFading() const override { return false; }
};
