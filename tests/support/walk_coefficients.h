// The encoder's own quantized coefficients, recorded by a visitor of the walk over the picture.
#pragma once

#include "support/host.h"
#include "support/jpeg_reader.h"

namespace test {

/// Per component, in the layout of readCoefficients; quantizers as in the encoder's tables.
std::vector<Component> walkCoefficients(const EncoderParams_JPEG& params,
                                        const TestPicture& picture);

/// The same as far as a stream has them: a progressive one no AC coefficients outside a component's own grid.
std::vector<Component> codedCoefficients(const EncoderParams_JPEG& params,
                                         const TestPicture& picture);

} // namespace test
