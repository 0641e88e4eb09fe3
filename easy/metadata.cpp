#include "easy/metadata.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vela::easy {
namespace {

constexpr uint8_t kApp1 = 0xE1, kApp2 = 0xE2, kCom = 0xFE;
constexpr size_t kMostSegment = 65535 - 2; // bytes after the length field
constexpr char kExifName[] = {'E', 'x', 'i', 'f', 0, 0};
constexpr char kIccName[] = {'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E', 0};
constexpr size_t kMostExif = kMostSegment - sizeof kExifName;
constexpr size_t kIccPiece = kMostSegment - sizeof kIccName - 2; // a number and a count of pieces
constexpr size_t kMostIcc = 255 * kIccPiece;

/// A small TIFF structure, little-endian: directories of entries, and what does not fit these.
class TiffWriter {
public:
    void word(uint32_t value) {
        bytes_[size_++] = static_cast<uint8_t>(value);
        bytes_[size_++] = static_cast<uint8_t>(value >> 8);
    }
    void longWord(uint32_t value) {
        word(value & 0xFFFF);
        word(value >> 16);
    }
    void entry(uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
        word(tag);
        word(type);
        longWord(count);
        longWord(value);
    }
    const uint8_t* bytes() const { return bytes_.data(); }
    size_t size() const { return size_; }

private:
    std::array<uint8_t, 256> bytes_{};
    size_t size_ = 0;
};

enum TiffType : uint32_t { kShort = 3, kLong = 4, kRational = 5, kUndefined = 7 };

constexpr uint32_t fourBytes(const char (&text)[5]) {
    uint32_t value = 0;
    for (uint32_t i = 0; i < 4; i++)
        value |= static_cast<uint32_t>(static_cast<uint8_t>(text[i])) << (8 * i);
    return value;
}

bool isTiff(const void* bytes) {
    return std::memcmp(bytes, "II*\0", 4) == 0 || std::memcmp(bytes, "MM\0*", 4) == 0;
}

/// Null, or a block of least..most bytes.
bool checkBlock(const char* name, const void* bytes, size_t size, size_t least, size_t most,
                ErrorText& text) {
    if (bytes == nullptr && size == 0)
        return true;
    if (bytes == nullptr)
        text.set("%s is null, %sSize %zu", name, name, size);
    else if (size < least || size > most)
        text.set("%sSize is %zu, not %zu to %zu", name, size, least, most);
    else
        return true;
    return false;
}

bool checkDensity(const VelaOptions& options, ErrorText& text) {
    const int32_t units = options.densityUnits, x = options.xDensity, y = options.yDensity;
    if (units == 0 && x == 0 && y == 0)
        return true;
    if (units < 0 || units > 2)
        text.set("densityUnits is %d, not 0 to 2", units);
    else if (x < 1 || x > 65535)
        text.set("xDensity is %d, not 1 to 65535", x);
    else if (y < 1 || y > 65535)
        text.set("yDensity is %d, not 1 to 65535", y);
    else
        return true;
    return false;
}

bool check(const VelaOptions& options, ErrorText& text) {
    if (!checkDensity(options, text) ||
        !checkBlock("exif", options.exif, options.exifSize, 8, kMostExif, text) ||
        !checkBlock("icc", options.icc, options.iccSize, 1, kMostIcc, text))
        return false;
    if (options.exif != nullptr && !isTiff(options.exif)) {
        const auto* const exif = static_cast<const uint8_t*>(options.exif);
        text.set("exif begins with %02x %02x %02x %02x, not as a TIFF structure does", exif[0],
                 exif[1], exif[2], exif[3]);
        return false;
    }
    if (options.orientation < 0 || options.orientation > 8) {
        text.set("orientation is %d, not 0 to 8", options.orientation);
        return false;
    }
    if (options.orientation != 0 && options.exif != nullptr) {
        text.set("orientation is %d beside exif", options.orientation);
        return false;
    }
    if (options.comment != nullptr && strnlen(options.comment, kMostSegment + 1) > kMostSegment) {
        text.set("comment is longer than %zu bytes", kMostSegment);
        return false;
    }
    return true;
}

} // namespace

int32_t Metadata::set(const VelaOptions& options, int32_t width, int32_t height, ErrorText& text) {
    segments_.clear();
    if (!check(options, text))
        return ENC_STATUS_BADARG;
    density_[0] = static_cast<uint16_t>(options.densityUnits);
    density_[1] = static_cast<uint16_t>(options.xDensity);
    density_[2] = static_cast<uint16_t>(options.yDensity);
    if (options.exif != nullptr)
        addSegment(kApp1, kExifName, sizeof kExifName, options.exif, options.exifSize);
    else if (options.orientation != 0)
        addOrientation(options.orientation, options.icc == nullptr, width, height);
    if (options.icc != nullptr)
        addProfile(static_cast<const uint8_t*>(options.icc), options.iccSize);
    if (options.comment != nullptr && options.comment[0] != '\0')
        addSegment(kCom, nullptr, 0, options.comment, std::strlen(options.comment));
    return ENC_STATUS_OK;
}

void Metadata::addSegment(uint8_t marker, const char* name, size_t nameSize, const void* bytes,
                          size_t count) {
    const size_t length = 2 + nameSize + count;
    const auto* const from = static_cast<const uint8_t*>(bytes);
    segments_.insert(segments_.end(), {0xFF, marker, static_cast<uint8_t>(length >> 8),
                                       static_cast<uint8_t>(length & 0xFF)});
    segments_.insert(segments_.end(), name, name + nameSize);
    segments_.insert(segments_.end(), from, from + count);
}

/// What Exif asks of every picture, and the orientation.
void Metadata::addOrientation(int32_t orientation, bool srgb, int32_t width, int32_t height) {
    constexpr uint32_t kHeader = 8, kEntry = 12,
                       kDirectory = 2 + 4; // with its count and the next one's place
    constexpr uint32_t kEntries = 6, kExifEntries = 6;
    constexpr uint32_t kRationals = kHeader + kDirectory + kEntries * kEntry;
    constexpr uint32_t kExif = kRationals + 2 * 8;
    // The density that JFIF gives, where it is one: readers prefer this one. 72 / 1 stands for unknown.
    const bool known = density_[0] != 0;
    TiffWriter tiff;
    tiff.longWord(fourBytes("II*\0"));
    tiff.longWord(kHeader);
    tiff.word(kEntries);
    tiff.entry(0x0112, kShort, 1, static_cast<uint32_t>(orientation));
    tiff.entry(0x011A, kRational, 1, kRationals);            // x resolution
    tiff.entry(0x011B, kRational, 1, kRationals + 8);        // y resolution
    tiff.entry(0x0128, kShort, 1, density_[0] == 2 ? 3 : 2); // of a centimetre or an inch
    tiff.entry(0x0213, kShort, 1, 1);                        // chroma lies amidst its pixels
    tiff.entry(0x8769, kLong, 1, kExif);
    tiff.longWord(0);
    for (int i = 1; i <= 2; i++) {
        tiff.longWord(known ? density_[i] : 72);
        tiff.longWord(1);
    }
    tiff.word(kExifEntries);
    tiff.entry(0x9000, kUndefined, 4, fourBytes("0232"));     // version
    tiff.entry(0x9101, kUndefined, 4, fourBytes("\1\2\3\0")); // components Y, Cb, Cr
    tiff.entry(0xA000, kUndefined, 4, fourBytes("0100"));     // FlashPix
    tiff.entry(0xA001, kShort, 1, srgb ? 1 : 0xFFFF);         // colour space: sRGB, or a profile's
    tiff.entry(0xA002, kLong, 1, static_cast<uint32_t>(width));
    tiff.entry(0xA003, kLong, 1, static_cast<uint32_t>(height));
    tiff.longWord(0);
    addSegment(kApp1, kExifName, sizeof kExifName, tiff.bytes(), tiff.size());
}

void Metadata::addProfile(const uint8_t* profile, size_t size) {
    const size_t pieces = (size + kIccPiece - 1) / kIccPiece;
    char name[sizeof kIccName + 2];
    std::copy(std::begin(kIccName), std::end(kIccName), name);
    name[sizeof kIccName + 1] = static_cast<char>(pieces);
    for (size_t i = 0; i < pieces; i++) {
        name[sizeof kIccName] = static_cast<char>(i + 1);
        addSegment(kApp2, name, sizeof name, profile + i * kIccPiece,
                   std::min(kIccPiece, size - i * kIccPiece));
    }
}

int32_t MetadataSink::take(const uint8_t* bytes, size_t count) {
    if (headerBytes_ < kHeaderSize) {
        const size_t more = std::min(count, kHeaderSize - headerBytes_);
        std::copy_n(bytes, more, header_ + headerBytes_);
        headerBytes_ += more;
        if (headerBytes_ < kHeaderSize)
            return ENC_STATUS_OK;
        bytes += more;
        count -= more;
        const uint16_t* const density = metadata_.density_;
        if (density[1] !=
            0) { // after the marker, the length, "JFIF\0" and the version: bytes 13 to 17
            header_[13] = static_cast<uint8_t>(density[0]);
            for (size_t i = 0; i < 2; i++) {
                header_[14 + 2 * i] = static_cast<uint8_t>(density[1 + i] >> 8);
                header_[15 + 2 * i] = static_cast<uint8_t>(density[1 + i] & 0xFF);
            }
        }
        int32_t status = next_.take(header_, kHeaderSize);
        if (status == ENC_STATUS_OK && !metadata_.segments_.empty())
            status = next_.take(metadata_.segments_.data(), metadata_.segments_.size());
        if (status != ENC_STATUS_OK)
            return status;
    }
    return count > 0 ? next_.take(bytes, count) : ENC_STATUS_OK;
}

} // namespace vela::easy
