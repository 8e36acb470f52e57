#pragma once

#include <velmo/nodes/MoActionNode.h>

#include <Inventor/fields/SoSFBool.h>
#include <Inventor/fields/SoSFFloat.h>

/// Says what representations below draw of the cells they extract.
class MoDrawStyle : public MoActionNode
{
  MO_NODE_HEADER(MoDrawStyle);

public:
  MoDrawStyle();

  SoSFBool displayFaces;     ///< default TRUE
  SoSFBool displayEdges;     ///< default FALSE
  SoSFBool displayPoints;    ///< default FALSE
  SoSFFloat fadingThreshold; ///< edges shorter than this many pixels fade out; default 0, none

  void doAction(SoAction* action) override;

protected:
  ~MoDrawStyle() override = default;
};
