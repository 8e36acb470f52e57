#pragma once

#include <velmoview/Model.h>

#include <functional>

namespace velmoview {

/// How far the cells reach that representations draw from: those that live and that filters keep.
/// Asked when something draws nothing, to tell what would.
class Reach
{
public:
  /// Both are borrowed.
  Reach(const Model& model, const Options& options);

  const Model& model() const { return m_model; }
  /// There is no such cell.
  bool isEmpty() const { return !m_any; }
  /// Why not: a sentence.
  std::string whyEmpty() const;
  /// Of a number at every node of these cells.
  ValueRange ofNodes(const std::function<double(const MbVec3d&)>& numberAt) const;
  /// Of an array there, of vectors their lengths.
  ValueRange ofArray(const ModelArray& array) const;
  /// Of the indices of these cells; the mesh has them along this axis.
  ValueRange ofIndices(int axis) const;

private:
  template <class Visit>
  void visitCells(const Visit& visit) const;

  const Model& m_model;
  const Options& m_options;
  std::vector<std::uint8_t> m_keep; ///< empty: all
  bool m_any = false;
};

/// "WHAT goes from 0 to 5, and ASKED = 9 is outside"
std::string compared(const std::string& what, const ValueRange& range, const std::string& asked,
                     double value);

/// A number as messages show it.
std::string shownShort(double value);

} // namespace velmoview
