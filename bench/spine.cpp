// Costs of the start-up spine on the paths the library takes at every event: adding to the ring behind
// the in-memory logs, reading the identifier in use, a diagnostic line that nobody prints, and the
// Markdown link pass of a disclaimer.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>

#include "Logging/BDXInspector.h"
#include "Logging/BDXSDKDebugInfoLogger.h"
#include "core/BDXCountLimitedArray.h"
#include "core/BDXDefaults.h"
#include "core/BDXMarkdownLinkDetector.h"
#include "foundation/Sandbox.h"

namespace {

// The settings store writes preferences: keep them out of the user's own data folder.
void useScratchSandbox() {
    static const bool once = [] {
        bdx::Sandbox::setRoot(std::filesystem::temp_directory_path() / "bdx-bench-spine");
        return true;
    }();
    (void)once;
}

// Adds followed by one read, as a logger fills the ring and a report takes it.
void BM_CountLimitedArrayAdd(benchmark::State& state) {
    BDXCountLimitedArray<std::string> ring(500);
    const std::string line = "Console line written by the host application while it runs";
    for (auto _ : state) {
        ring.addObject(line);
    }
    benchmark::DoNotOptimize(ring.objects());
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_CountLimitedArrayAdd);

void BM_GetUUIDSaved(benchmark::State& state) {
    useScratchSandbox();
    BDXDefaults::getInstance()->setSavedUUID("6F9619FF-8B86-D011-B42D-00C04FC964FF");
    for (auto _ : state) {
        benchmark::DoNotOptimize(BDXInspector::getUUID());
    }
    BDXDefaults::destroy();
}
BENCHMARK(BM_GetUUIDSaved);

// An error line with no debugger attached: the level lets it through, the debugger test drops it.
void BM_SDKLogErrorUnprinted(benchmark::State& state) {
    BDXInspector::overrideDebuggerAttached(std::nullopt);
    for (auto _ : state) {
        BDXSDKLogError("File is larger than 5MB or it's path is invalid.");
    }
}
BENCHMARK(BM_SDKLogErrorUnprinted);

void BM_MarkdownLinksOfADisclaimer(benchmark::State& state) {
    useScratchSandbox();
    const std::string text =
        "By sending this report you agree to the [terms of service](https://example.com/terms) and the "
        "[privacy policy](https://example.com/privacy) of Example Inc.";
    for (auto _ : state) {
        benchmark::DoNotOptimize(BDXMarkdownLinkDetector::attributedStringWithLinksFromString(text));
    }
}
BENCHMARK(BM_MarkdownLinksOfADisclaimer);

}  // namespace

BENCHMARK_MAIN();
