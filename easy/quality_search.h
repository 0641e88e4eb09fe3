// The highest quality whose stream fits a limit, found by few encodings.
#pragma once

#include <algorithm>
#include <cstdint>

namespace vela::easy {

/// Holds an interval of what is not known yet: fits_ fits, tooLarge_ does not. Guesses begin where the last
/// picture of a stream has ended, and step away from there with doubled steps; a guess is moved so far
/// towards the middle that halving can still end in time.
class QualitySearch {
public:
    QualitySearch(int32_t highest, int32_t guess) : tooLarge_(highest + 1), guess_(guess) {}

    bool isDone() const { return tooLarge_ - fits_ <= 1; }
    /// The best one that fits, -1: none.
    int32_t best() const { return fits_; }

    /// The quality to try next.
    int32_t next() const {
        // With n encodings left after this one, 2^n - 1 qualities can be told apart on either side.
        const int32_t side = (1 << (left_ - 1)) - 1;
        const int32_t least = std::max(fits_ + 1, tooLarge_ - 1 - side);
        const int32_t most = std::min(tooLarge_ - 1, fits_ + 1 + side);
        return std::clamp(guess_, least, most);
    }
    void tried(int32_t quality, bool fits) {
        left_--;
        (fits ? fits_ : tooLarge_) = quality;
        if (turned_ || (step_ != 0 && (step_ > 0) != fits)) {
            turned_ = true;
            guess_ = fits_ + (tooLarge_ - fits_) / 2;
            return;
        }
        step_ = step_ == 0 ? (fits ? 1 : -1) : 2 * step_;
        guess_ = quality + step_;
    }

private:
    static constexpr int32_t kEncodings = 8; // at the most; 2^8 - 1 is above 101

    int32_t fits_ = -1, tooLarge_, guess_;
    int32_t left_ = kEncodings;
    int32_t step_ = 0;
    bool turned_ = false;
};

} // namespace vela::easy
