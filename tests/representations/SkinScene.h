#pragma once

#include <velmo/representations/MoMeshSkin.h>

#include <tests/representations/SurfaceScene.h>

class SkinScene : public SurfaceScene<MoMeshSkin>
{
public:
  SoRef<MoMeshSkin>& skin = node;
};
