// What has been measured, for people and for programs.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "bench/comparison.h"
#include "bench/scaling.h"
#include "bench/stages.h"

namespace bench {

struct Results {
    std::string instructionSet;
    std::vector<Row> rows{};
    std::vector<ScalingCase> scaling{};
    std::vector<Stages> stages{};
};

/// One mode's rows in short.
struct Summary {
    uint32_t mode; // ENC_MODE_*
    double mean;   // geometric, of the ratios
    const Row* least;
    uint64_t encodeAllocations; // the most of any row
};

/// Of the modes that there are rows of.
std::vector<Summary> summarize(const std::vector<Row>& rows);

// Text tables, line by line as results come in.
void printHead(std::FILE* out, const std::string& instructionSet);
void printRow(std::FILE* out, const Row& row);
void printSummaries(std::FILE* out, const std::vector<Row>& rows);
void printStagesHead(std::FILE* out);
void printStages(std::FILE* out, const Stages& stages);
void printScalingHead(std::FILE* out, const std::string& instructionSet);
void printScalingCase(std::FILE* out, const ScalingCase& result);

// A file. Throws cli::Failure.
void writeJson(const Results& results, const std::string& path);

} // namespace bench
