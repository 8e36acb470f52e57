// standard.h, for objects with optimisation options of their own.
#include "standard.h"
