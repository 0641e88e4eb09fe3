// The tables of Annex K, against those that libjpeg carries.
#ifdef VELA_TEST_LIBJPEG
#include <cstdio>
#include <cstring>

#include <gtest/gtest.h>
#include <jpeglib.h>

#include "tables/default_tables.h"

namespace {

/// A libjpeg encoder, for the tables of Annex K that it carries.
class LibjpegTables {
public:
    LibjpegTables() {
        info.err = jpeg_std_error(&errors_);
        jpeg_create_compress(&info);
        info.input_components = 3;
        info.in_color_space = JCS_RGB;
        jpeg_set_defaults(&info);
        jpeg_set_linear_quality(&info, 100, TRUE); // the base tables themselves
    }
    ~LibjpegTables() { jpeg_destroy_compress(&info); }

    jpeg_compress_struct info{};

private:
    jpeg_error_mgr errors_;
};

void expectSame(const JHUFF_TBL* theirs, const uint8_t* bits, const uint8_t* vals, size_t count) {
    EXPECT_EQ(std::memcmp(theirs->bits + 1, bits, 16), 0);
    EXPECT_EQ(std::memcmp(theirs->huffval, vals, count), 0);
}

TEST(DefaultTables, AreThoseOfAnnexK) {
    // Fault: a wrong byte in a table.
    using namespace vela;
    const LibjpegTables theirs;
    for (size_t i = 0; i < 64; i++) {
        EXPECT_EQ(_DefLumQuantTable_JPEGENC[i], theirs.info.quant_tbl_ptrs[0]->quantval[i]);
        EXPECT_EQ(_DefChromQuantTable_JPEGENC[i], theirs.info.quant_tbl_ptrs[1]->quantval[i]);
    }
    JHUFF_TBL* const* const dc = theirs.info.dc_huff_tbl_ptrs;
    JHUFF_TBL* const* const ac = theirs.info.ac_huff_tbl_ptrs;
    expectSame(dc[0], _DefLumDCHuffBits_JPEGENC, _DefLumDCHuffValues_JPEGENC, 12);
    expectSame(dc[1], _DefChromDCHuffBits_JPEGENC, _DefChromDCHuffValues_JPEGENC, 12);
    expectSame(ac[0], _DefLumACHuffBits_JPEGENC, _DefLumACHuffValues_JPEGENC, 162);
    expectSame(ac[1], _DefChromACHuffBits_JPEGENC, _DefChromACHuffValues_JPEGENC, 162);
}

} // namespace
#endif
