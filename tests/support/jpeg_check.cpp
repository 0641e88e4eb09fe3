#include "support/jpeg_check.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "support/strict_decoder.h"

namespace test {

void expectReads(const std::vector<uint8_t>& jpeg, const std::string& what,
                 const std::function<void(const DecodedJpeg&)>& check) {
    const DecodedJpeg decoded = decodeStrictly(jpeg);
    ASSERT_EQ(decoded.error, "") << what;
#ifdef VELA_TEST_LIBJPEG
    constexpr int kLibjpegMost = 65500; // it refuses larger ones
    if (std::max(decoded.width, decoded.height) > kLibjpegMost)
        return check(decoded);
    const DecodedJpeg byLibjpeg = readCoefficients(jpeg);
    ASSERT_EQ(byLibjpeg.error, "") << what;
    ASSERT_TRUE(decoded == byLibjpeg) << what << ": the decoders do not agree";
#endif
    check(decoded);
}

} // namespace test
