// The editor's derived data, computed as on every keystroke and every render: lines, kept
// segments, the timeline, captions, zooms and pop-ups of a generated project of five clips.
#include "editor/Captions.h"
#include "editor/Emphasis.h"
#include "editor/SampleProject.h"
#include "editor/Timeline.h"

#include <benchmark/benchmark.h>

namespace {

// About 30,000 words is three hours of speech.
constexpr int kThreeHours = 30000;

void deriveAll(benchmark::State& state, pelix::editor::CaptionLanguage language) {
    pelix::editor::EditProject project = pelix::editor::sampleProject(int(state.range(0)), 5, 42);
    project.settings.captionLanguage = language;
    if (language != pelix::editor::CaptionLanguage::original) {
        // Every other line translated, as while a translation pass is still under way.
        int n = 0;
        for (const auto& [id, text] : pelix::editor::untranslated(project)) {
            if (n++ % 2 == 0) project.translations[pelix::editor::id(language)][id] = text;
        }
    }
    for (auto _ : state) {
        const auto lines = pelix::editor::lines(project.clips);
        const pelix::editor::Timeline timeline(pelix::editor::segments(project, lines));
        const auto cues = pelix::editor::captions(project, timeline, lines);
        const auto factors = pelix::editor::zooms(project, timeline);
        const auto pops = pelix::editor::popUps(project, timeline, lines);
        benchmark::DoNotOptimize(cues.data());
        benchmark::DoNotOptimize(factors.data());
        benchmark::DoNotOptimize(pops.data());
    }
    state.counters["words"] = double(state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_EditorDerived(benchmark::State& state) {
    deriveAll(state, pelix::editor::CaptionLanguage::original);
}
void BM_EditorDerivedHalfTranslated(benchmark::State& state) {
    deriveAll(state, pelix::editor::CaptionLanguage::fr);
}

// Each step alone, to see which one grows faster than the words.
void BM_EditorStep(benchmark::State& state) {
    const pelix::editor::EditProject project =
        pelix::editor::sampleProject(int(state.range(0)), 5, 42);
    const auto lines = pelix::editor::lines(project.clips);
    const pelix::editor::Timeline timeline(pelix::editor::segments(project, lines));
    for (auto _ : state) {
        switch (state.range(1)) {
            case 0:
                benchmark::DoNotOptimize(pelix::editor::lines(project.clips).data());
                break;
            case 1:
                benchmark::DoNotOptimize(pelix::editor::segments(project, lines).data());
                break;
            case 2:
                benchmark::DoNotOptimize(pelix::editor::Timeline(timeline.segments()).total());
                break;
            case 3:
                benchmark::DoNotOptimize(pelix::editor::captions(project, timeline, lines).data());
                break;
            case 4:
                benchmark::DoNotOptimize(pelix::editor::zooms(project, timeline).data());
                break;
            case 5:
                benchmark::DoNotOptimize(pelix::editor::popUps(project, timeline, lines).data());
                break;
        }
    }
    static const char* const names[] = {"lines",    "segments", "Timeline",
                                        "captions", "zooms",    "popUps"};
    state.SetLabel(names[state.range(1)]);
}

}  // namespace

BENCHMARK(BM_EditorStep)
    ->ArgsProduct({{kThreeHours, kThreeHours * 10}, {0, 1, 2, 3, 4, 5}})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorDerived)
    ->Arg(kThreeHours / 10)
    ->Arg(kThreeHours)
    ->Arg(kThreeHours * 10)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorDerivedHalfTranslated)->Arg(kThreeHours)->Unit(benchmark::kMillisecond);
