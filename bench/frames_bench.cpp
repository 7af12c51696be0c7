// How long the driver packs and parses full frames. The options are Google Benchmark's.

#include <benchmark/benchmark.h>

#include "bench/frames.h"

namespace
{

void perform(benchmark::State &state, const Frames::Action &action)
{
    Frames frames;
    for (auto unused : state) {
        static_cast<void>(unused);
        (frames.*action.perform)();
    }
}

} // namespace

int main(int argc, char **argv)
{
    for (const Frames::Action &action : Frames::actions())
        benchmark::RegisterBenchmark(action.name,
                                     [action](benchmark::State &state) { perform(state, action); });
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
