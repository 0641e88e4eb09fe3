#include <algorithm>
#include <map>

#include "bench/report.h"

namespace bench {

std::vector<Summary> summarize(const std::vector<Row>& rows) {
    std::vector<Summary> summaries;
    for (const uint32_t mode : {uint32_t{ENC_MODE_BASELINE}, uint32_t{ENC_MODE_PROGRESSIVE}}) {
        Summary summary{mode, 0, nullptr, 0};
        std::vector<double> ratios;
        for (const Row& row : rows) {
            if (row.mode != mode)
                continue;
            ratios.push_back(row.ratio);
            if (summary.least == nullptr || row.ratio < summary.least->ratio)
                summary.least = &row;
            summary.encodeAllocations = std::max(summary.encodeAllocations, row.encodeAllocations);
        }
        if (ratios.empty())
            continue;
        summary.mean = geometricMean(ratios);
        summaries.push_back(summary);
    }
    return summaries;
}

void printHead(std::FILE* out, const std::string& instructionSet) {
    std::fprintf(out,
                 "Instruction set: %s. MP/s: megapixels per second of processor time; theirs with\n"
                 "the faster transform, fast or exact. Ratio: ours / theirs. dB: PSNR.\n\n"
                 "%-38s %-11s %8s %8s  %-7s %6s %10s %10s %6s %6s\n",
                 instructionSet.c_str(), "row", "mode", "ours", "theirs", "", "ratio", "our bytes",
                 "their", "our dB", "their");
}

void printRow(std::FILE* out, const Row& row) {
    std::fprintf(out, "%-38s %-11s %8.1f %8.1f  %-7s %6.2f %10llu %10llu %6.2f %6.2f\n",
                 row.name().c_str(), modeName(row.mode), row.ours, row.theirs,
                 row.theirsFast ? "fast" : "exact", row.ratio,
                 static_cast<unsigned long long>(row.ourBytes),
                 static_cast<unsigned long long>(row.theirBytes), row.ourPsnr, row.theirPsnr);
    std::fflush(out);
}

void printSummaries(std::FILE* out, const std::vector<Row>& rows) {
    std::map<std::string, std::map<uint32_t, std::vector<double>>> byFormat;
    for (const Row& row : rows)
        byFormat[row.format][row.mode].push_back(row.ratio);
    std::fputs("\nGeometric means of the ratios:\n", out);
    for (const auto& [format, byMode] : byFormat)
        for (const auto& [mode, ratios] : byMode)
            std::fprintf(out, "  %-11s %-11s %6.2f\n", format.c_str(), modeName(mode),
                         geometricMean(ratios));
    for (const Summary& summary : summarize(rows))
        std::fprintf(out,
                     "%s: geometric mean %.3f, least %.3f (%s), allocations during Encode_JPEG "
                     "%llu\n",
                     modeName(summary.mode), summary.mean, summary.least->ratio,
                     summary.least->name().c_str(),
                     static_cast<unsigned long long>(summary.encodeAllocations));
}

void printStagesHead(std::FILE* out) {
    std::fprintf(out,
                 "%s per 8 x 8 block, by what an encoding without a stage takes less.\n\n"
                 "%-38s %-11s %-11s %10s %10s %10s %10s %10s\n",
                 kStageUnit, "row", "mode", "set", "conversion", "transform", "coding", "rest",
                 "all");
}

void printStages(std::FILE* out, const Stages& stages) {
    const std::string row =
        stages.picture + " " + stages.format + " q" + std::to_string(stages.quality);
    std::fprintf(out, "%-38s %-11s %-11s %10.1f %10.1f %10.1f %10.1f %10.1f\n", row.c_str(),
                 modeName(stages.mode), stages.instructionSet.c_str(), stages.conversion,
                 stages.transform, stages.coding, stages.rest, stages.total());
    std::fflush(out);
}

void printScalingHead(std::FILE* out, const std::string& instructionSet) {
    std::fprintf(out,
                 "BGR 8-8-8 to 4:2:0 at quality %u, %d pixels wide. Instruction set: %s.\n"
                 "Asked for: bytes in blocks from allocate and grow. Peak: resident memory of the\n"
                 "process. Picture: what of it is the picture or, in slice mode, its source.\n\n"
                 "%9s %-11s %-10s %10s %8s %12s %11s %11s %11s\n",
                 kScalingQuality, kScalingWidth, instructionSet.c_str(), "MP", "mode", "buffer",
                 "seconds", "ns/pixel", "asked for", "peak KiB", "picture KiB", "stream");
}

void printScalingCase(std::FILE* out, const ScalingCase& r) {
    std::fprintf(out, "%9.2f %-11s %-10s %10.4f %8.2f %12llu %11llu %11llu %11llu\n",
                 r.megapixels(), modeName(r.mode), r.slice ? "slice" : "integrated", r.seconds,
                 1e3 * r.seconds / r.megapixels(), static_cast<unsigned long long>(r.bytesAskedFor),
                 static_cast<unsigned long long>(r.peakResident / 1024),
                 static_cast<unsigned long long>(r.pictureBytes / 1024),
                 static_cast<unsigned long long>(r.streamBytes));
    std::fflush(out);
}

} // namespace bench
