#pragma once

#include "tests/support/Offscreen.h"

#include <velmo/nodes/MoVelmo.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <Inventor/nodes/SoPerspectiveCamera.h>
#include <Inventor/nodes/SoSeparator.h>
#include <Inventor/SbViewportRegion.h>

#include <functional>
#include <memory>
#include <ostream>
#include <vector>

/// A scene that has a golden picture, and what could be wrong with it.
class GoldenScene
{
public:
  static constexpr int kWidth = 480, kHeight = 360;
  struct Fault
  {
    const char* what;
    std::function<void()> make; ///< after the scene was drawn once
  };

  virtual ~GoldenScene() = default;
  MbImage draw() const { return drawScene(m_root, kWidth, kHeight); }
  const std::vector<Fault>& faults() const { return m_faults; }

protected:
  /// @param eye  the direction from what is shown to the viewer
  explicit GoldenScene(const SbVec3f& eye) : m_eye(eye), m_camera(add(new SoPerspectiveCamera)) {}
  template <class Node>
  Node* add(Node* node)
  {
    m_root->addChild(node);
    return node;
  }
  void addFault(const char* what, std::function<void()> make)
  {
    m_faults.push_back({what, std::move(make)});
  }
  /// Shows all that was added.
  /// @param heightAngle  of the camera for which the sphere around everything fills the picture
  void look(float heightAngle = 0.4f)
  {
    m_camera->pointAt(m_camera->position.getValue() - m_eye, {0, 0, 1});
    m_camera->heightAngle = heightAngle;
    m_camera->viewAll(m_root, SbViewportRegion(kWidth, kHeight), 1.0f);
    m_camera->heightAngle = 0.4f;
  }

private:
  SbVec3f m_eye;
  SoRef<SoSeparator> m_root{new SoSeparator};
  SoPerspectiveCamera* m_camera;
  std::vector<Fault> m_faults;
};

struct GoldenSubject
{
  const char* name;
  std::function<std::unique_ptr<GoldenScene>()> make;
  bool hasText = false; ///< which is drawn alike with the usual font only

  friend void PrintTo(const GoldenSubject& subject, std::ostream* out) { *out << subject.name; }
  static std::string nameOf(const testing::TestParamInfo<GoldenSubject>& info)
  {
    return info.param.name;
  }
};

/// Other sources instantiate its tests with subjects of theirs.
class GoldenPicture : public testing::TestWithParam<GoldenSubject>
{
protected:
  GoldenPicture() { MoVelmo::init(); }
  ~GoldenPicture() override { MoVelmo::finish(); }
  void SetUp() override
  {
    if (GetParam().hasText && !drawsUsualFont()) GTEST_SKIP() << "the usual font is not there";
  }
};
