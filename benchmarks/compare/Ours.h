#pragma once

#include "Job.h"

/// Each is one JobMaker of our own library.
std::unique_ptr<Job> makeOurSkin(const MeshArrays& mesh, const Task& task, int threads);
std::unique_ptr<Job> makeOurIsolines(const MeshArrays& mesh, const Task& task, int threads);
std::unique_ptr<Job> makeOurCut(const MeshArrays& mesh, const Task& task, int threads);
/// Probes and streamlines.
std::unique_ptr<Job> makeOurFlow(const MeshArrays& mesh, const Task& task, int threads);
std::unique_ptr<Job> makeOurLayers(const MeshArrays& mesh, const Task& task, int threads);
std::unique_ptr<Job> makeOurRead(const MeshArrays& mesh, const Task& task, int threads);
