// Checks of whole streams by what decoders read in them.
#pragma once

#include <functional>

#include "support/jpeg_reader.h"

namespace test {

/// check sees what the strict decoder reads in jpeg and, in builds that have it, libjpeg too; what says in
/// a failure which stream it was.
void expectReads(const std::vector<uint8_t>& jpeg, const std::string& what,
                 const std::function<void(const DecodedJpeg&)>& check);

} // namespace test
