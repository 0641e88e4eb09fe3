// Checks of whole streams by what libjpeg reads in them. A target without it compares each stream with
// that of a build that has it: every stream that was found sound is noted there by a checksum.
#pragma once

#include <functional>

#include "support/jpeg_reader.h"

namespace test {

/// With libjpeg: check sees what it reads in jpeg, and if nothing failed the stream is noted, in a file
/// of the test's own, as one more line. Without: the line of that file whose turn it is must be this
/// stream's. what says which one it is.
void expectReads(const std::vector<uint8_t>& jpeg, const std::string& what,
                 const std::function<void(const DecodedJpeg&)>& check);

} // namespace test
