#pragma once

#include <velmo/extraction/interfaces/MeshType.h>
#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/representation/MdUserExtractorCallback.h>
#include <velmo/toolkit/classes/SoRef.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

class MiMesh;
class SoAction;

/// Writes a line for each extraction of one representation: what from, what came out, and how long
/// extracting, building and traversing took. docs/background.md describes the line.
///
/// It is told by the hooks of a traversal, and listens to the extractors as their callback, which
/// calls the user's in turn. *Threads*: the hooks are the traversing thread's, the callback's
/// functions any one's.
class MdProfilingTool final : public MdForwardingCallback<MdProfilingTool>
{
public:
  /// Null unless the preference VELMORA_PROFILE asks for a log: "1" or "true" on standard error,
  /// any other text but "0" and "false" names a file, to which lines are added.
  static std::unique_ptr<MdProfilingTool> create();
  ~MdProfilingTool() override;

  void beforeExtraction(const char* nodeName, const char* typeName, SoAction* action);
  /// @param mesh  what was extracted, null for nothing
  void afterExtraction(const MiMesh* mesh, MeshType type);
  void afterTraversal();
  void setInputMesh(const MiMesh* mesh, MeshType type);
  /// @param callback  borrowed, null for nobody
  void setUserCallback(MiExtractorCallback* callback) { m_user->setTarget(callback); }
  MdUserExtractorCallback& getUserCallback() const { return *m_user; }

  void beginExtract(const std::string& name, std::size_t phaseCount) override;
  void endExtract() override;

  template <class Answer, class Call>
  Answer forward(Answer otherwise, const Call& call) const
  {
    return m_user->forward(otherwise, call);
  }

private:
  using Clock = std::chrono::steady_clock;

  struct Size
  {
    MeshType type = UNDEFINED_MESH;
    std::size_t nodeCount = 0, cellCount = 0;
  };
  /// One extraction, of which several may make a result.
  struct Extraction
  {
    std::string extractor;
    std::thread::id thread;
    Clock::time_point begin;
    double milliseconds = 0;
    bool wasStopped = false;
  };

  MdProfilingTool();
  static Size sizeOf(const MiMesh* mesh, MeshType type);

  const SoRef<MdUserExtractorCallback> m_user{new MdUserExtractorCallback};
  std::string m_node, m_type, m_action;
  Size m_input, m_output;
  Clock::time_point m_before, m_after;
  std::mutex m_mutex; // of what follows, which a worker writes
  Extraction m_running;
  std::vector<Extraction> m_ended;
};
