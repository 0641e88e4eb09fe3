#include "support/strict_decoder.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace test {
namespace {

void require(bool holds, const char* what) {
    if (!holds)
        throw std::runtime_error(what);
}

/// Natural index of each place of the zigzag sequence: up and down the anti-diagonals (Figure A.6).
std::array<size_t, 64> zigzagOrder() {
    std::array<size_t, 64> order{};
    size_t k = 0;
    for (int diagonal = 0; diagonal < 15; diagonal++)
        for (int i = 0; i <= diagonal; i++) {
            const int y = diagonal % 2 == 0 ? diagonal - i : i;
            const int x = diagonal - y;
            if (x < 8 && y < 8)
                order[k++] = static_cast<size_t>(8 * y + x);
        }
    return order;
}

struct HuffmanTable {
    int counts[17] = {};
    std::vector<uint8_t> symbols;
    std::vector<bool> occurs;
};

/// Bytes of the stream, and bits of its entropy-coded segments.
class Input {
public:
    explicit Input(const std::vector<uint8_t>& bytes) : bytes_(bytes) {}

    int byte() {
        require(at_ < bytes_.size(), "ends too early");
        return bytes_[at_++];
    }
    int word() {
        const int high = byte();
        return high << 8 | byte();
    }
    int marker() {
        require(byte() == 0xFF, "no marker where one belongs");
        return byte();
    }
    bool atEnd() const { return at_ == bytes_.size(); }

    int bit() {
        if (left_ == 0) {
            held_ = byte();
            left_ = 8;
            require(held_ != 0xFF || byte() == 0, "a marker amid the data");
        }
        return held_ >> --left_ & 1;
    }
    int bits(int count) {
        int value = 0;
        while (count-- > 0)
            value = value << 1 | bit();
        return value;
    }
    /// F.2.2.1: a value of count bits, of which those that begin with 0 are negative.
    int extended(int count) {
        const int value = bits(count);
        return count > 0 && value < 1 << (count - 1) ? value - (1 << count) + 1 : value;
    }
    int symbol(HuffmanTable& table) {
        int code = 0, first = 0;
        size_t place = 0;
        for (int length = 1; length <= 16; length++) {
            code = code << 1 | bit();
            if (code - first < table.counts[length]) {
                place += static_cast<size_t>(code - first);
                table.occurs[place] = true;
                return table.symbols[place];
            }
            first = (first + table.counts[length]) << 1;
            place += static_cast<size_t>(table.counts[length]);
        }
        throw std::runtime_error("no such code");
    }
    void completeByte() {
        require((held_ & ((1 << left_) - 1)) == (1 << left_) - 1, "padding of 0-bits");
        left_ = 0;
    }

private:
    const std::vector<uint8_t>& bytes_;
    size_t at_ = 0;
    int held_ = 0;
    int left_ = 0; // bits of held_
};

class Decoder {
public:
    Decoder(const std::vector<uint8_t>& jpeg, DecodedJpeg& decoded) : in_(jpeg), out_(decoded) {}

    void decode() {
        require(in_.marker() == 0xD8 && in_.marker() == 0xE0, "does not begin with SOI and APP0");
        skipSegment();
        int marker = in_.marker();
        for (; marker != 0xD9; marker = in_.marker())
            readSegment(marker);
        require(in_.atEnd(), "bytes after EOI");
        require(tables_.empty(), "a table that no scan uses");
    }

private:
    struct Scan {
        std::vector<size_t> components;
        int tables[3];
        int Ss, Se, Ah, Al;
    };

    void readSegment(int marker) {
        switch (marker) {
        case 0xC0:
        case 0xC2:
            return readFrame(marker == 0xC2);
        case 0xC4:
            return readHuffmanTable();
        case 0xDA:
            return readScan();
        case 0xDB:
            return readQuantTable();
        case 0xDD:
            require(in_.word() == 4, "length of DRI");
            out_.restartInterval = static_cast<unsigned>(in_.word());
            return;
        case 0xE1: // Exif
        case 0xE2: // ICC profile
        case 0xFE: // comment
            require(out_.components.empty() && quant_.empty(), "metadata behind the tables");
            return skipSegment();
        default:
            throw std::runtime_error("an unexpected marker");
        }
    }

    void skipSegment() {
        for (int left = in_.word() - 2; left > 0; left--)
            in_.byte();
    }

    void readQuantTable() {
        require(in_.word() == 67, "length of DQT");
        auto& table = quant_[in_.byte()];
        for (const size_t place : kZigzagOrder)
            table[place] = static_cast<uint16_t>(in_.byte());
        require(*std::min_element(table.begin(), table.end()) > 0, "a quantizer of 0");
    }

    void readHuffmanTable() {
        const int length = in_.word();
        const int id = in_.byte();
        require(tables_.count(id) == 0, "a table that no scan uses");
        HuffmanTable& table = tables_[id];
        int total = 0, space = 1; // codes left of the length, without the one of 1-bits alone
        for (int i = 1; i <= 16; i++) {
            table.counts[i] = in_.byte();
            total += table.counts[i];
            space = 2 * space - table.counts[i];
            require(space > 0, "more codes than there are");
        }
        require(length == 19 + total, "length of DHT");
        for (int i = 0; i < total; i++)
            table.symbols.push_back(static_cast<uint8_t>(in_.byte()));
        table.occurs.resize(table.symbols.size());
    }

    void readFrame(bool progressive) {
        const int length = in_.word();
        require(in_.byte() == 8 && out_.components.empty(), "the frame header");
        out_.progressive = progressive;
        out_.height = in_.word();
        out_.width = in_.word();
        const int count = in_.byte();
        require(length == 8 + 3 * count && count <= 3, "length of SOF");
        for (int i = 0; i < count; i++) {
            Component component{};
            require(in_.byte() == i + 1, "a component's number");
            const int factors = in_.byte();
            component.h = factors >> 4;
            component.v = factors & 15;
            hMost_ = std::max(hMost_, component.h);
            vMost_ = std::max(vMost_, component.v);
            component.quantizers = quant_.at(in_.byte());
            out_.components.push_back(component);
        }
        mcusAcross_ = (out_.width + 8 * hMost_ - 1) / (8 * hMost_);
        mcusDown_ = (out_.height + 8 * vMost_ - 1) / (8 * vMost_);
        for (Component& c : out_.components) {
            c.blocksAcross = mcusAcross_ * c.h;
            c.blocksDown = mcusDown_ * c.v;
            c.blocks.resize(static_cast<size_t>(c.blocksAcross) *
                            static_cast<size_t>(c.blocksDown));
        }
    }

    void readScan() {
        Scan scan{};
        const int length = in_.word();
        const int count = in_.byte();
        require(length == 6 + 2 * count && count >= 1, "length of SOS");
        for (int i = 0; i < count; i++) {
            const auto component = static_cast<size_t>(in_.byte() - 1);
            require(component < out_.components.size(), "a scan's component");
            const int tables = in_.byte();
            scan.components.push_back(component);
            scan.tables[component] = tables;
        }
        scan.Ss = in_.byte();
        scan.Se = in_.byte();
        const int approximation = in_.byte();
        scan.Ah = approximation >> 4;
        scan.Al = approximation & 15;
        readUnits(scan);
        for (const auto& [id, table] : tables_) { // those of Annex K have codes for everything
            const auto used = std::count(table.occurs.begin(), table.occurs.end(), true);
            require(!out_.progressive || used == static_cast<int>(table.occurs.size()),
                    "a code that its scan does not use");
            require(used > 0, "a table that its scan does not use");
        }
        tables_.clear();
    }

    /// A.2: MCUs of an interleaved scan, else the blocks of the component's own grid.
    void readUnits(const Scan& scan) {
        const bool interleaved = scan.components.size() > 1;
        const Component& only = out_.components[scan.components[0]];
        const auto own = [](int size, int most, int factor) {
            return ((size * factor + most - 1) / most + 7) / 8;
        };
        const int across = interleaved ? mcusAcross_ : own(out_.width, hMost_, only.h);
        const int down = interleaved ? mcusDown_ : own(out_.height, vMost_, only.v);
        for (int unit = 0; unit < across * down; unit++) {
            const auto interval = static_cast<int>(out_.restartInterval);
            if (interval > 0 && unit > 0 && unit % interval == 0) {
                endInterval();
                require(in_.marker() == 0xD0 + (unit / interval - 1) % 8, "not that RST");
            }
            for (const size_t c : scan.components) {
                Component& component = out_.components[c];
                const int h = interleaved ? component.h : 1;
                const int v = interleaved ? component.v : 1;
                for (int i = 0; i < h * v; i++) {
                    const int x = unit % across * h + i % h;
                    const int y = unit / across * v + i / h;
                    readBlock(scan, c,
                              component.blocks[static_cast<size_t>(y) *
                                                   static_cast<size_t>(component.blocksAcross) +
                                               static_cast<size_t>(x)]);
                }
            }
        }
        endInterval();
    }

    void endInterval() {
        require(eobRun_ == 0, "an EOB run beyond its interval");
        in_.completeByte();
        predictors_ = {};
    }

    void readBlock(const Scan& scan, size_t component, Block& block) {
        if (scan.Ss == 0) {
            if (scan.Ah == 0)
                readDc(tables_.at(scan.tables[component] >> 4), predictors_[component], scan.Al,
                       block);
            else
                block[0] = static_cast<int16_t>(block[0] | in_.bit() << scan.Al);
        }
        if (scan.Se > 0) {
            if (scan.Ah == 0)
                readAc(tables_.at(0x10 | (scan.tables[component] & 15)), std::max(scan.Ss, 1),
                       scan.Se, scan.Al, block);
            else
                refineAc(tables_.at(0x10 | (scan.tables[component] & 15)), scan.Ss, scan.Se,
                         scan.Al, block);
        }
    }

    void readDc(HuffmanTable& table, int& predictor, int Al, Block& block) {
        predictor += in_.extended(in_.symbol(table));
        block[0] = static_cast<int16_t>(predictor * (1 << Al));
    }

    /// F.2.2.2 and G.1.2.2, of which the former is the case without runs of blocks.
    void readAc(HuffmanTable& table, int k, int Se, int Al, Block& block) {
        if (eobRun_ > 0) {
            eobRun_--;
            return;
        }
        for (; k <= Se; k++) {
            const int symbol = in_.symbol(table);
            const int run = symbol >> 4, size = symbol & 15;
            if (size == 0 && run < 15) {
                eobRun_ = (1 << run) - 1 + in_.bits(run);
                require(out_.progressive || run == 0, "a run of blocks in a baseline scan");
                return;
            }
            k += run;
            require(k <= Se, "a coefficient beyond the band");
            if (size > 0)
                block[kZigzagOrder[static_cast<size_t>(k)]] =
                    static_cast<int16_t>(in_.extended(size) * (1 << Al));
        }
    }

    /// G.1.2.3
    void refineAc(HuffmanTable& table, int k, int Se, int Al, Block& block) {
        for (; k <= Se && eobRun_ == 0; k++) {
            const int symbol = in_.symbol(table);
            int run = symbol >> 4;
            int value = 0;
            if ((symbol & 15) != 0) {
                require((symbol & 15) == 1, "a new coefficient of more than a bit");
                value = in_.bit() != 0 ? 1 << Al : -(1 << Al);
            } else if (run < 15) {
                eobRun_ = (1 << run) + in_.bits(run);
                break;
            }
            for (; k <= Se; k++)
                if (int16_t& known = block[kZigzagOrder[static_cast<size_t>(k)]]; known != 0)
                    correct(known, Al);
                else if (run-- == 0)
                    break;
            require(k <= Se, "a coefficient beyond the band");
            block[kZigzagOrder[static_cast<size_t>(k)]] = static_cast<int16_t>(value);
        }
        if (eobRun_ > 0) {
            for (; k <= Se; k++)
                if (int16_t& known = block[kZigzagOrder[static_cast<size_t>(k)]]; known != 0)
                    correct(known, Al);
            eobRun_--;
        }
    }

    void correct(int16_t& known, int Al) {
        if (in_.bit() != 0)
            known = static_cast<int16_t>(known + (known > 0 ? 1 << Al : -(1 << Al)));
    }

    static inline const std::array<size_t, 64> kZigzagOrder = zigzagOrder();

    Input in_;
    DecodedJpeg& out_;
    std::map<int, std::array<uint16_t, 64>> quant_;
    std::map<int, HuffmanTable> tables_; // of the next scan: each brings its own
    std::array<int, 4> predictors_{};
    int hMost_ = 1, vMost_ = 1, mcusAcross_ = 0, mcusDown_ = 0;
    int eobRun_ = 0;
};

} // namespace

DecodedJpeg decodeStrictly(const std::vector<uint8_t>& jpeg) {
    DecodedJpeg decoded{};
    try {
        Decoder(jpeg, decoded).decode();
    } catch (const std::exception& failure) {
        decoded.error = failure.what();
    }
    return decoded;
}

} // namespace test
