#pragma once

#include <velmo/toolkit/MoOffscreenCanvas.h>

/// The name that sources used before the class became public.
using MxOffscreenCanvas = MoOffscreenCanvas;
