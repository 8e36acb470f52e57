#pragma once

#include <velmo/toolkit/MbImage.h>

/// The name that sources used before the type became public.
using MxImage = MbImage;
