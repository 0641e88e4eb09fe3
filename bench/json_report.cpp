#include <fstream>

#include <nlohmann/json.hpp>

#include "bench/report.h"
#include "cli/failure.h"

namespace bench {
namespace {

using nlohmann::ordered_json;

/// The processor's name as the system tells it.
std::string processorName() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.starts_with("model name"))
            return line.substr(line.find(':') + 2);
    return "unknown";
}

ordered_json toJson(const Row& row) {
    return {{"picture", row.picture},
            {"format", row.format},
            {"quality", row.quality},
            {"mode", modeName(row.mode)},
            {"ours_mpps", row.ours},
            {"theirs_mpps", row.theirs},
            {"theirs_transform", row.theirsFast ? "fast" : "accurate"},
            {"ratio", row.ratio},
            {"our_bytes", row.ourBytes},
            {"their_bytes", row.theirBytes},
            {"our_psnr_db", row.ourPsnr},
            {"their_psnr_db", row.theirPsnr},
            {"encode_allocations", row.encodeAllocations}};
}

ordered_json toJson(const Summary& summary) {
    return {{"mode", modeName(summary.mode)},
            {"geometric_mean", summary.mean},
            {"least_ratio", summary.least->ratio},
            {"least_row", summary.least->name()},
            {"encode_allocations", summary.encodeAllocations}};
}

ordered_json toJson(const ScalingCase& result) {
    return {{"megapixels", result.megapixels()},
            {"mode", modeName(result.mode)},
            {"buffer", result.slice ? "slice" : "integrated"},
            {"seconds", result.seconds},
            {"bytes_asked_for", result.bytesAskedFor},
            {"peak_resident_bytes", result.peakResident},
            {"picture_bytes", result.pictureBytes},
            {"stream_bytes", result.streamBytes}};
}

ordered_json toJson(const Stages& stages) {
    return {{"picture", stages.picture},
            {"format", stages.format},
            {"quality", stages.quality},
            {"mode", modeName(stages.mode)},
            {"instruction_set", stages.instructionSet},
            {"unit", std::string(kStageUnit) + " per block"},
            {"conversion", stages.conversion},
            {"transform", stages.transform},
            {"coding", stages.coding},
            {"rest", stages.rest}};
}

/// A line for each item.
template <class Item>
std::string toLines(const std::vector<Item>& items) {
    std::string lines;
    for (const Item& item : items)
        lines += (lines.empty() ? "\n" : ",\n") + toJson(item).dump();
    return "[" + lines + "]";
}

} // namespace

void writeJson(const Results& results, const std::string& path) {
    std::ofstream file(path);
    file << "{\"processor\": " << ordered_json(processorName())
         << ",\n\"instruction_set\": " << ordered_json(results.instructionSet)
         << ",\n\"summaries\": " << toLines(summarize(results.rows))
         << ",\n\"rows\": " << toLines(results.rows)
         << ",\n\"scaling\": " << toLines(results.scaling)
         << ",\n\"stages\": " << toLines(results.stages) << "}\n";
    if (!file.flush())
        throw cli::Failure("cannot write " + path);
}

} // namespace bench
