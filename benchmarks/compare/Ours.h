#pragma once

#include "Job.h"

/// Each is one JobMaker of our own library.
std::unique_ptr<Job> makeOurSkin(const MeshArrays& mesh, int threads);
