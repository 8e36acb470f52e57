#include <velmo/toolkit/classes/MxToolkit.h>

#include <velmo/toolkit/shapes/MxTextFont.h>
#include <velmo/toolkit/shapes/SoBBox.h>
#include <velmo/toolkit/shapes/SoIndexedFaceSetOutline.h>
#include <velmo/toolkit/shapes/TkBBoxSeparator.h>
#include <velmo/toolkit/shapes/TkLineSet.h>
#include <velmo/toolkit/shapes/TkPointSet.h>
#include <velmo/toolkit/shapes/TkShaderObject.h>
#include <velmo/toolkit/shapes/TkShaderProgram.h>
#include <velmo/toolkit/shapes/TkTexture2.h>
#include <velmo/toolkit/shapes/TkVertexProperty.h>

#include <Inventor/C/tidbits.h>
#include <Inventor/SoDB.h>

#include <algorithm>
#include <vector>

namespace {

int s_startCount = 0;
bool s_startedByUs = false;
bool s_hooked = false;
unsigned s_generation = 0;

std::vector<MxToolkit::EndCallback*>& endCallbacks()
{
  // Never deleted: the toolkit may be stopped while the program's statics go.
  static auto* callbacks = new std::vector<MxToolkit::EndCallback*>;
  return *callbacks;
}

void toolkitEnds()
{
  auto callbacks = std::move(endCallbacks());
  endCallbacks().clear();
  for (auto* callback : callbacks)
    callback();
  MxToolkit::exitClasses();
  s_startCount = 0;
  s_hooked = false;
}

template <class... Classes>
struct ClassList
{
  static void init() { (Classes::initClass(), ...); }
  static void exit() { (Classes::exitClass(), ...); }
};

using Supplement =
    ClassList<SoBBox, TkBBoxSeparator, TkVertexProperty, SoIndexedFaceSetOutline, TkLineSet,
              TkPointSet, TkShaderProgram, TkVertexShader, TkFragmentShader, TkTexture2>;

} // namespace

void MxToolkit::start()
{
  if (s_startCount == 0) s_startedByUs = !SoDB::isInitialized();
  mxFindTextLibraries();
  SoDB::init();
  if (!s_hooked) {
    s_hooked = true;
    ++s_generation;
    cc_coin_atexit(&toolkitEnds);
  }
  ++s_startCount;
}

void MxToolkit::finish()
{
  if (s_startCount == 0 || --s_startCount > 0) return;
  if (s_startedByUs) SoDB::finish();
}

void MxToolkit::callAtEnd(EndCallback* callback)
{
  auto& callbacks = endCallbacks();
  if (std::find(callbacks.begin(), callbacks.end(), callback) == callbacks.end())
    callbacks.push_back(callback);
}

unsigned MxToolkit::generation()
{
  return s_generation;
}

void MxToolkit::initClasses()
{
  Supplement::init();
}

void MxToolkit::exitClasses()
{
  Supplement::exit();
}
