#pragma once

#include <velmo/render/MxMeshSceneGraph.h>

/// Lines in "MainStyle", their points as "PointStyle".
class MxLineSceneGraph final : public MxUnstrMeshSceneGraph
{
public:
  MxLineSceneGraph(SoSeparator* root, bool fading);

  bool requireFading() const override;
};
