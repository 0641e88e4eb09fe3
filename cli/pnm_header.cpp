#include "pnm_header.h"

#include <string>

#include "failure.h"
#include "frame.h"

namespace cli {
namespace {

bool isSpace(int c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool isDigit(int c) {
    return c >= '0' && c <= '9';
}

[[noreturn]] void refuse(const InputFile& file, const std::string& why) {
    throw Failure("cannot read " + file.name() + ": " + why);
}

// The first byte that is neither white space nor part of a comment.
int skipSpace(InputFile& file) {
    int c = file.getByte();
    while (isSpace(c) || c == '#') {
        if (c == '#')
            while (c != '\n' && c != '\r' && c != EOF)
                c = file.getByte();
        else
            c = file.getByte();
    }
    return c;
}

// Reads a number and the one byte of white space that ends it.
int32_t readNumber(InputFile& file) {
    constexpr int32_t kTooLarge = 1 << 24;
    int c = skipSpace(file);
    const bool isNumber = isDigit(c);
    int32_t value = 0;
    for (; isDigit(c); c = file.getByte())
        value = value < kTooLarge ? value * 10 + (c - '0') : kTooLarge;
    if (c == EOF)
        refuse(file, file.whyShort());
    if (!isNumber || !isSpace(c))
        refuse(file, "malformed PPM or PGM header");
    return value;
}

} // namespace

PnmHeader readPnmHeader(InputFile& file) {
    const int kind = file.getByte();
    if (kind == EOF)
        refuse(file, file.whyShort());
    if (kind != '5' && kind != '6')
        refuse(file, "not a binary PPM (P6) or PGM (P5) file");
    const int32_t width = readNumber(file);
    const int32_t height = readNumber(file);
    const int32_t maxval = readNumber(file);
    if (width < 1 || width > kMaxSide || height < 1 || height > kMaxSide)
        refuse(file, "width and height must be 1 to " + std::to_string(kMaxSide));
    if (maxval != 255)
        refuse(file, "maxval must be 255, that is 8-bit samples over their whole range");
    return {kind == '6', width, height};
}

} // namespace cli
