// The checks at the interface; after them the library asserts.
#pragma once

#include "state/source_layout.h"
#include "state/status.h"

namespace vela {

/// The records as such: pointers, ranges, supported codes. Of several faults the first one in the
/// order of the checks is reported.
[[nodiscard]] Status velaParameterCheck_JPEG(const EncoderParams_JPEG* params,
                                             const Picture_JPEG* picture,
                                             const Bitstream_JPEG* stream,
                                             const CallbackTable_JPEG* callbacks);

/// ENC_STATUS_BADARG for a width or height that T.81 cannot carry.
[[nodiscard]] Status checkSize(const Picture_JPEG& picture);

/// The picture's fields against each other, for records that passed: plane and component counts of the
/// format and, in slice mode, a source that can be pulled.
[[nodiscard]] Status checkPicture(const EncoderParams_JPEG& params, const Picture_JPEG& picture,
                                  const SourceLayout& source);

} // namespace vela
