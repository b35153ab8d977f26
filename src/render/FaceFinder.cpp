#include "render/FaceFinder.h"

#include <algorithm>

namespace pelix::render {

FaceFinding steadyFace(const std::vector<std::optional<double>>& perPicture) {
    FaceFinding finding;
    finding.sampled = int(perPicture.size());
    std::vector<double> seen;
    for (const auto& x : perPicture) {
        if (x) seen.push_back(*x);
    }
    finding.found = int(seen.size());
    if (finding.found < std::max(2, (finding.sampled + 3) / 4)) return finding;
    const auto middle = seen.begin() + std::ptrdiff_t(seen.size() / 2);
    std::ranges::nth_element(seen, middle);
    double median = *middle;
    if (seen.size() % 2 == 0) {
        median = (median + *std::max_element(seen.begin(), middle)) / 2;
    }
    finding.x = median;
    return finding;
}

QString faceCascade() {
    const QString chosen = qEnvironmentVariable("PELIX_FACE_CASCADE");
    return chosen.isEmpty() ? QStringLiteral(PELIX_FACE_CASCADE) : chosen;
}

}  // namespace pelix::render
