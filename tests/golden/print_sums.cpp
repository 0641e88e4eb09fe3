// Prints sums.txt anew, by the routines that this machine encodes with.
#include <cstdio>

#include "golden/configurations.h"

int main() {
    for (const test::Configuration& configuration : test::goldenConfigurations())
        std::puts(test::goldenLine(configuration, nullptr).c_str());
}
