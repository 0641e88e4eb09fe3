// Checks of whole streams by what libjpeg reads in them.
#pragma once

#include <functional>

#include "support/jpeg_reader.h"

namespace test {

/// check sees what libjpeg reads in jpeg; what says in a failure which stream it was. In builds without
/// libjpeg the test goes on, and counts as skipped unless something else fails: their streams are held
/// by golden/sums.txt.
void expectReads(const std::vector<uint8_t>& jpeg, const std::string& what,
                 const std::function<void(const DecodedJpeg&)>& check);

} // namespace test
