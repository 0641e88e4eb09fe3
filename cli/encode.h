// From one input to its JPEGs.
#ifndef VELA_CLI_ENCODE_H
#define VELA_CLI_ENCODE_H

#include <memory>
#include <string>

#include "cli/options.h"
#include "cli/output_file.h"
#include "cli/report.h"

namespace cli {

class InputEncoder {
public:
    InputEncoder(const Options& options, Report& report);

    /// Encodes the pictures of input ("" : the demo picture) into target: one picture, or with a counter one
    /// file for each, numbered on from the last input's. Throws Failure, UsageError and std::bad_alloc; what
    /// was not whole is gone then.
    void encode(const std::string& input, const std::string& target);

    /// All pictures of input into a stream.
    void encode(const std::string& input, OutputFile& stream);

private:
    struct Delete {
        void operator()(VelaEncoder* encoder) const { velaEncoderDelete(encoder); }
    };

    std::unique_ptr<PictureSource> open(const std::string& input) const;
    Facts encodePicture(PictureSource& source, const std::string& input, OutputFile& output);
    VelaOptions optionsFor(const PictureSource& source) const;

    const Options& options_;
    Report& report_;
    std::unique_ptr<VelaEncoder, Delete> encoder_;
    int64_t counted_ = 0; // files with a counter that are there
};

} // namespace cli

#endif
