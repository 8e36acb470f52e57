#include <velmo/base/MxTimeStamp.h>

std::uint64_t MxTimeStamp::m_timeStamp = 1;
