#pragma once

#include "Job.h"

#include <string>
#include <vector>

/// A filter of the peer toolkit, with the settings named.
struct PeerFilter
{
  const char* name;
  JobMaker make;
  /// Shared vertices, only those that are used, the exact result, the cell of each face.
  bool wholeWork;
  /// Each node comes once, so that the number of vertices can be compared.
  bool sharesVertices;
};

/// Version and threading back-end, for the report.
std::string peerDescription();
/// Threads that the filters of the following runs use.
void setPeerThreads(int threads);

std::vector<PeerFilter> peerSkinFilters(bool structured);
std::vector<PeerFilter> peerIsosurfaceFilters(MeshKind kind);
std::vector<PeerFilter> peerPlaneFilters(MeshKind kind);
/// Of spheres and cylinders.
std::vector<PeerFilter> peerQuadricFilters(MeshKind kind);
std::vector<PeerFilter> peerIsolineFilters();
std::vector<PeerFilter> peerIsosurfaceDragFilters();
std::vector<PeerFilter> peerProbeFilters(MeshKind kind);
/// @param isAdaptive  with the integrator that adapts its steps
std::vector<PeerFilter> peerStreamFilters(bool isAdaptive);
std::vector<PeerFilter> peerPlaneDragFilters(MeshKind kind);
std::vector<PeerFilter> peerLayerFilters(MeshKind kind);
std::vector<PeerFilter> peerSlabFilters();
std::vector<PeerFilter> peerReaders(FileFormat format);
