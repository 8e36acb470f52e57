#pragma once

/// Has a worker thread of the parallel library call run() soon, also where the library may use one
/// thread only. The worker belongs to an arena of its own: a thread that waits for a loop of its
/// own never begins it.
void enqueueTask(void (*run)());
