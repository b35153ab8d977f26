// Throughput of the transcript clean-up on a 1 MB transcript, beside a plain case-insensitive
// scan of the same buffer.
#include "text/CleanUp.h"

#include <benchmark/benchmark.h>

#include <QString>
#include <QStringList>

namespace {

// About 1 MB of transcript-like text; every `actuallyEvery`-th word is "actually" (0: never).
QString transcript(int actuallyEvery) {
    static const QStringList words = {"so",   "we",    "talked", "about",  "the",     "launch,",
                                      "and",  "I",     "think",  "it",     "went",    "well.",
                                      "Then", "Maria", "said",   "the",    "numbers", "were",
                                      "fine", "but",   "we",     "should", "check",   "again",
                                      "next", "week.", "What",   "do",     "you",     "think?"};
    QString text;
    text.reserve(1 << 20);
    for (int i = 0; text.size() < (1 << 20); ++i) {
        if (actuallyEvery > 0 && i % actuallyEvery == actuallyEvery - 1) {
            text += "actually ";
        } else {
            text += words[i % words.size()] + ' ';
        }
    }
    return text;
}

void setBytes(benchmark::State& state, const QString& text) {
    state.SetBytesProcessed(state.iterations() * text.toUtf8().size());
}

void BM_PlainCaseInsensitiveScan(benchmark::State& state) {
    const QString text = transcript(0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.indexOf(QLatin1String("actuallx"), 0, Qt::CaseInsensitive));
    }
    setBytes(state, text);
}

void BM_CleanUpWithoutTheWord(benchmark::State& state) {
    const QString text = transcript(0);
    for (auto _ : state) benchmark::DoNotOptimize(pelix::text::withoutActually(text));
    setBytes(state, text);
}

void BM_CleanUpOnePerHundredWords(benchmark::State& state) {
    const QString text = transcript(100);
    for (auto _ : state) benchmark::DoNotOptimize(pelix::text::withoutActually(text));
    setBytes(state, text);
}

BENCHMARK(BM_PlainCaseInsensitiveScan)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CleanUpWithoutTheWord)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CleanUpOnePerHundredWords)->Unit(benchmark::kMillisecond);

}  // namespace
