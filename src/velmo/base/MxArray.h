#pragma once

#include <velmo/base/MbPlainArray.h> // and with it MxArray
