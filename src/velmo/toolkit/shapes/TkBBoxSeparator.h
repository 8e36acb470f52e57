#pragma once

#include <velmo/toolkit/classes/MoClassMacros.h>

#include <Inventor/nodes/SoSeparator.h>

/// A separator whose bounding box follows the first SoBBox among its children, if there is one.
class TkBBoxSeparator : public SoSeparator
{
  typedef SoSeparator inherited;
  MO_NODE_HEADER(TkBBoxSeparator);

public:
  TkBBoxSeparator();
  void getBoundingBox(SoGetBoundingBoxAction* action) override;

protected:
  ~TkBBoxSeparator() override = default;
};
