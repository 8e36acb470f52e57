#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The warnings that a representation posts while it looks at its inputs: each cause once, for as
/// long as every traversal meets it again. *Threads*: the traversing thread's.
class MdWarnings
{
public:
  /// A traversal begins: what the one before did not meet is forgotten.
  void beginTraversal();
  /// Posts, unless this cause is known.
  /// @param function  who posts
  /// @param object    what the warning is about, null for nothing in particular
  /// @param stamp     of its content, or another number that tells the causes of a text apart
  void post(const std::string& function, const char* text, const void* object = nullptr,
            std::uint64_t stamp = 0);
  /// The scene has changed: everything counts as new.
  void forget();

private:
  struct Cause
  {
    std::string function, text;
    const void* object;
    std::uint64_t stamp;
    bool operator==(const Cause&) const = default;
  };

  std::vector<Cause> m_before, m_now;
};
