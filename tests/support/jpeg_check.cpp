#include "support/jpeg_check.h"

#include <gtest/gtest.h>

namespace test {

#ifdef VELA_TEST_LIBJPEG

void expectReads(const std::vector<uint8_t>& jpeg, const std::string& what,
                 const std::function<void(const DecodedJpeg&)>& check) {
    const DecodedJpeg decoded = readCoefficients(jpeg);
    ASSERT_EQ(decoded.error, "") << what;
    check(decoded);
}

#else

void expectReads(const std::vector<uint8_t>&, const std::string&,
                 const std::function<void(const DecodedJpeg&)>&) {
    if (!testing::Test::IsSkipped())
        GTEST_SKIP() << "what a decoder reads is not looked at: this build has no libjpeg";
}

#endif

} // namespace test
