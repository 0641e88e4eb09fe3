// A decoder to the coefficients, from the text of T.81 alone, that forgives nothing: padding that is not
// of 1-bits, a restart marker too many, a run beyond its interval, a table or code that nothing uses.
// Every build has it, and it reads pictures of 65535 pixels, which libjpeg refuses.
#pragma once

#include "support/jpeg_reader.h"

namespace test {

DecodedJpeg decodeStrictly(const std::vector<uint8_t>& jpeg);

} // namespace test
