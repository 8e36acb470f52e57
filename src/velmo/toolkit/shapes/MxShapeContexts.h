#pragma once

#include <velmo/toolkit/shapes/MxOutlineProgram.h>
#include <velmo/toolkit/shapes/MxShapeData.h>

#include <Inventor/elements/SoGLCacheContextElement.h>
#include <Inventor/misc/SoContextHandler.h>

#include <memory>
#include <string>
#include <vector>

class SoState;

/// The programs of a graphics context, which live as long as a shape has buffers there.
std::shared_ptr<MxOutlinePrograms> mxProgramsOf(int context);

/// Whether the state is that of an action that draws.
bool mxIsDrawing(SoState* state);
/// Whether the context of the state has what our shapes draw with.
bool mxHasBuffers(SoState* state);
/// Whether our programs can draw with the textures of the state.
/// @param replacing  the texture replaces what is below
bool mxTextureFits(SoState* state, bool& replacing);
bool mxHasFog(SoState* state);
/// One letter a light, as MxOutlineLook wants them.
std::string mxLightsOf(SoState* state);

/// What a shape keeps in each graphics context: its buffers in both layouts, freed when the context
/// or the shape goes.
/// @tparam Buffers  made from an MxFaceLayout, with release()
template <class Buffers>
class MxShapeContexts
{
public:
  struct Context
  {
    explicit Context(int context) : id(context), programs(mxProgramsOf(context)) {}
    int id;
    Buffers indexed{MxFaceLayout::Indexed};
    Buffers corners{MxFaceLayout::Corners};
    std::shared_ptr<MxOutlinePrograms> programs;

    /// The buffers to draw from: those with corners when they are needed, or hold the data already.
    template <class Data>
    Buffers& choose(bool needsCorners, const Data& data)
    {
      const bool useCorners = needsCorners || corners.holds(data);
      Buffers& other = useCorners ? indexed : corners;
      // A frame may need both layouts; one that has gone stale is not coming back soon.
      if (!other.isEmpty() && !other.holds(data)) other.release();
      return useCorners ? corners : indexed;
    }
    void release()
    {
      indexed.release();
      corners.release();
      // The last shape of a context takes the programs along.
      if (programs.use_count() == 1) programs->release();
      programs.reset();
    }
  };

  MxShapeContexts()
  {
    SoContextHandler::addContextDestructionCallback(&MxShapeContexts::contextEnds, this);
  }
  ~MxShapeContexts()
  {
    SoContextHandler::removeContextDestructionCallback(&MxShapeContexts::contextEnds, this);
    // No context need be current now: each frees its part when it is current next, or ends.
    for (auto& context : m_contexts) {
      const auto id = static_cast<std::uint32_t>(context->id);
      SoGLCacheContextElement::scheduleDeleteCallback(
          id,
          [](void* closure, std::uint32_t) {
            const std::unique_ptr<Context> dead(static_cast<Context*>(closure));
            dead->release();
          },
          context.release());
    }
  }
  MxShapeContexts(const MxShapeContexts&) = delete;
  MxShapeContexts& operator=(const MxShapeContexts&) = delete;

  Context& of(int id)
  {
    for (auto& context : m_contexts)
      if (context->id == id) return *context;
    return *m_contexts.emplace_back(std::make_unique<Context>(id));
  }

private:
  static void contextEnds(std::uint32_t id, void* self)
  {
    auto& contexts = static_cast<MxShapeContexts*>(self)->m_contexts;
    std::erase_if(contexts, [id](const std::unique_ptr<Context>& context) {
      if (static_cast<std::uint32_t>(context->id) != id) return false;
      context->release();
      return true;
    });
  }

  std::vector<std::unique_ptr<Context>> m_contexts;
};
