// Rules that must hold for every project, checked over many generated ones.
#include "editor/SampleProject.h"
#include "editor/Timeline.h"
#include "support/TestSupport.h"

#include <random>

namespace pelix::editor {
namespace {

constexpr double kEps = 1e-9;

// Generated projects of many sizes and settings: some clips with unknown length, some shorter
// than their words.
std::vector<EditProject> generated() {
    std::vector<EditProject> projects;
    for (quint32 seed = 1; seed <= 40; ++seed) {
        std::mt19937 random(seed);
        EditProject p = sampleProject(int(20 + seed * 37), int(1 + seed % 4), seed);
        p.settings.pace = static_cast<Pace>(seed % 3);
        p.settings.removeFillers = seed % 5 != 0;
        for (SourceClip& clip : p.clips) {
            if (random() % 4 == 0) clip.duration = 0;
            if (random() % 4 == 0 && !clip.words.empty()) clip.duration = clip.words.back().start;
        }
        projects.push_back(std::move(p));
    }
    return projects;
}

const std::vector<EditProject>& projects() {
    static const std::vector<EditProject> all = generated();
    return all;
}

TEST(Properties, SegmentsNeverOverlapStayInTheirClipAndAreNoSlivers) {
    for (const EditProject& p : projects()) {
        const auto s = segments(p);
        ASSERT_FALSE(s.empty());
        for (size_t i = 0; i < s.size(); ++i) {
            const double duration = p.clips[size_t(s[i].clip)].duration;
            EXPECT_GE(s[i].start, 0);
            if (duration > 0) EXPECT_LE(s[i].end, duration + kEps) << i;
            EXPECT_GT(s[i].end - s[i].start, 0.05) << i;
            if (i == 0) continue;
            EXPECT_GE(s[i].clip, s[i - 1].clip);
            if (s[i - 1].clip == s[i].clip) EXPECT_GE(s[i].start, s[i - 1].end - kEps) << i;
        }
    }
}

// The timeline's indexed lookups agree with a plain scan of every segment.
TEST(Properties, TimelineAddsUpAndItsLookupsAgreeWithAScan) {
    for (const EditProject& p : projects()) {
        const Timeline t(segments(p));
        const auto scan = [&](int clip, double source) -> std::optional<double> {
            for (size_t j = 0; j < t.segments().size(); ++j) {
                const Segment& c = t.segments()[j];
                if (c.clip == clip && c.start - 0.001 <= source && source <= c.end + 0.001)
                    return t.starts()[j] +
                           std::min(c.end - c.start, std::max(source - c.start, 0.0));
            }
            return std::nullopt;
        };
        double sum = 0;
        for (size_t i = 0; i < t.segments().size(); ++i) {
            const Segment& s = t.segments()[i];
            EXPECT_NEAR(t.starts()[i], sum, kEps);
            sum += s.end - s.start;
            double before = -1;
            for (double f = 0; f <= 1.0; f += 0.125) {
                const double source = s.start + f * (s.end - s.start);
                const auto out = t.output(s.clip, source);
                ASSERT_TRUE(out);
                EXPECT_GE(*out, before - kEps);
                before = *out;
                EXPECT_EQ(out, scan(s.clip, source));
            }
            EXPECT_EQ(t.segment(t.starts()[i] + (s.end - s.start) / 2), int(i));
        }
        EXPECT_NEAR(t.total(), sum, kEps);
    }
}

}  // namespace
}  // namespace pelix::editor
