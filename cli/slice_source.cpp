#include "slice_source.h"

#include "failure.h"
#include "frame.h"

namespace cli {

int32_t SliceSource::read(uint8_t* out, uint32_t count) {
    if (!whyFailed_.empty())
        return 0;
    const size_t got = file_.read(out, count);
    if (got < count)
        whyFailed_ = file_.whyShort();
    if (redFirst_) // reads are of whole rows, so never start inside a pixel
        swapRedAndBlue(out, got);
    return int32_t(got);
}

void SliceSource::seek(int32_t offset) {
    if (whyFailed_.empty() && offset != 0 && !file_.seekBy(offset))
        whyFailed_ = "cannot move within the file";
}

void SliceSource::throwIfFailed() const {
    if (!whyFailed_.empty())
        throw Failure("cannot read " + file_.name() + ": " + whyFailed_);
}

} // namespace cli
