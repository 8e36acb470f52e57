#include <velmoview/representations/Representation.h>

#include <velmo/representations/MoMeshSkin.h>

namespace velmoview {

namespace {

class Skin final : public RepresentationOf<MoMeshSkin>
{
public:
  static std::vector<std::shared_ptr<Representation>> read(const RepresentationRow&,
                                                           const std::string&)
  {
    return {std::make_shared<Skin>()};
  }

protected:
  /// The range of cells that --cell-range asks for; a moved one holds a single cell.
  void setFields(MoMeshSkin& node, const Subject& subject, Setting setting) const override
  {
    node.minCellRanges.setNum(0);
    node.maxCellRanges.setNum(0);
    if (setting == Setting::Moved) {
      const std::uint32_t zeros[3] = {0, 0, 0};
      const int indices = subject.model.dims.size() == 3 ? 3 : 1;
      node.minCellRanges.setValues(0, indices, zeros);
      node.maxCellRanges.setValues(0, indices, zeros);
    } else if (subject.options.cellRange) {
      const CellRange& range = *subject.options.cellRange;
      node.minCellRanges.setValues(0, static_cast<int>(range.lower.size()), range.lower.data());
      node.maxCellRanges.setValues(0, static_cast<int>(range.upper.size()), range.upper.data());
    }
  }
};

} // namespace

extern const RepresentationRow kSkinRow;
constinit const RepresentationRow kSkinRow{
    .option = "--skin",
    .help = "the outer boundary of a volume mesh (the default for one)",
    .extracted = Extracted::Surface,
    .kinds = kVolumeKinds,
    .isDefault = true,
    .takesCellRange = true,
    .read = Skin::read};

} // namespace velmoview
