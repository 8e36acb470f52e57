#pragma once

#include <string_view>

/// Texts that are found by a file name without touching the disk. *Threads*: the thread that
/// traverses scenes.
class MxTextRegistry
{
public:
  /// *Ownership*: both texts are borrowed for the rest of the program. A name that is there already
  /// gets the new text.
  static void addInMemoryTextFile(const char* name, const char* text);
  static void removeInMemoryTextFile(const char* name);
  /// The text, or null.
  static const char* find(std::string_view name);
};
