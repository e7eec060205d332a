// The main of the benchmark programs that declare their work as comparisons
// (DOCVIEW_COMPARE_BENCHMARKS): runs what the command line asks for and prints every ratio.

#include "RatioReporter.h"

int main(int argc, char** argv)
{
    return RunBenchmarks(argc, argv, RegisteredRatios());
}
