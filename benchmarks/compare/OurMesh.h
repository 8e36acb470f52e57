#pragma once

#include "Job.h"

#include <velmo/extraction/interfaces/MiExtractorCallback.h>
#include <velmo/mesh/MbMesh.h>
#include <velmo/mesh/MeXDataSetI.h>
#include <velmo/mesh/MeXMesh.h>

#include <chrono>
#include <span>

/// Our unstructured mesh over the arrays themselves, with stamps of its own.
inline std::unique_ptr<MbVolumeMeshUnstructured> makeOurUnstructured(const MeshArrays& mesh)
{
  return std::make_unique<MbVolumeMeshUnstructured>(
      MbTopologyI(std::span(mesh.shapes, mesh.cellCount),
                  std::span(mesh.offsets, mesh.cellCount + 1),
                  std::span(mesh.connectivity, mesh.connectivityCount)),
      std::span(mesh.points, 3 * mesh.nodeCount));
}

inline MbIndex3 cellsOf(const MeshArrays& mesh)
{
  return {mesh.axisNodes[0] - 1, mesh.axisNodes[1] - 1, mesh.axisNodes[2] - 1};
}

inline std::unique_ptr<MbVolumeMeshCurvilinear> makeOurCurvilinear(const MeshArrays& mesh)
{
  return std::make_unique<MbVolumeMeshCurvilinear>(MbTopologyIjk(cellsOf(mesh)),
                                                   std::span(mesh.points, 3 * mesh.nodeCount));
}

inline std::unique_ptr<MbVolumeMeshRectilinear> makeOurRectilinear(const MeshArrays& mesh)
{
  const auto axis = [&](int a) { return std::span(mesh.axes[a], mesh.axisNodes[a]); };
  return std::make_unique<MbVolumeMeshRectilinear>(MbTopologyIjk(cellsOf(mesh)), axis(0), axis(1),
                                                   axis(2));
}

inline std::unique_ptr<MbVolumeMeshRegular> makeOurRegular(const MeshArrays& mesh)
{
  return std::make_unique<MbVolumeMeshRegular>(MbTopologyIjk(cellsOf(mesh)), MbVec3d{},
                                               MbVec3d{mesh.spacing, mesh.spacing, mesh.spacing});
}

/// Counts the extractions that report themselves and times their phases that check the mesh.
class RunObserver final : public MiExtractorCallback
{
public:
  void beginExtract(const std::string&, std::size_t) override { ++m_extractions; }
  void endExtract() override {}
  void beginPhase(const std::string& name, std::size_t) override
  {
    m_checking = name.find("check") != std::string::npos || name.find("Check") != std::string::npos;
    m_phaseStart = Clock::now();
  }
  void endPhase() override
  {
    if (m_checking)
      m_checkSeconds += std::chrono::duration<double>(Clock::now() - m_phaseStart).count();
    m_checking = false;
  }
  bool endStep(std::size_t) override { return true; }

  std::size_t extractionCount() const { return m_extractions; }
  double meshCheckSeconds() const { return m_checkSeconds; }

private:
  using Clock = std::chrono::steady_clock;
  std::size_t m_extractions = 0;
  bool m_checking = false;
  Clock::time_point m_phaseStart;
  double m_checkSeconds = 0;
};

/// The check values of an extracted surface.
/// @param colour  values on it, null for none
CheckValues checkOurSurface(const MeXSurfaceMeshUnstructured& surface,
                            const MeXDataSetI<double>* colour = nullptr);
