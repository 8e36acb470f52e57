#pragma once

#include <cstddef>

/// How many threads a loop of the calling thread may use.
std::size_t threadCount();

/// Has a worker thread of the parallel library call run() soon, also where the library may use one
/// thread only. The worker belongs to an arena of its own: a thread that waits for a loop of its
/// own never begins it.
void enqueueTask(void (*run)());

/// What the loops of MxParallel.h are made of.
namespace velmo_detail {

/// Calls body(context, first, last) for ranges that make up [0, count), in several threads. While
/// it waits for others, the calling thread works on nothing but this loop.
/// @throw what one of the bodies threw, when all have ended
void runLoop(std::size_t count, void (*body)(void* context, std::size_t first, std::size_t last),
             void* context);

/// Calls lead(context) in the calling thread, and help(context) `helperCount` times in others, or
/// after it.
/// @throw what `lead` threw, or one of the helpers, when all have ended
void runWithHelpers(std::size_t helperCount, void (*lead)(void* context),
                    void (*help)(void* context), void* context);

} // namespace velmo_detail
