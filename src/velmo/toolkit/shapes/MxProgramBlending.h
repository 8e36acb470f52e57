#pragma once

class SoState;

/// Blends what is drawn while it lives, where a shader program of the scene is in use: programs
/// that fade lines answer with opacities that the material knows nothing of.
class MxProgramBlending
{
public:
  /// After the toolkit has sent the material.
  explicit MxProgramBlending(SoState* state);
  ~MxProgramBlending();
  MxProgramBlending(const MxProgramBlending&) = delete;
  MxProgramBlending& operator=(const MxProgramBlending&) = delete;

private:
  SoState* m_state;
  bool m_on;
};
