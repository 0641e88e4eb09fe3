// Results of the library's own operations.
#pragma once

#include "vela/jpegenc.h"

namespace vela {

/// 0 for success, negative for a failure (ENC_STATUS_*), or one of the codes below. The first
/// failing step's status is returned unchanged by everything above it.
using Status = int32_t;

/// What the set-up of a scan answers: the scan just set up is the last one, or others follow.
inline constexpr Status SCAN_LAST = 2;
inline constexpr Status SCAN_MORE = 3;

} // namespace vela
