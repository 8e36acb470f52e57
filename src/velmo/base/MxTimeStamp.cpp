#include <velmo/base/MxTimeStamp.h>

std::atomic<std::uint64_t> MxTimeStamp::m_timeStamp = 1;
