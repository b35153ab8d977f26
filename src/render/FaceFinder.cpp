#include "render/FaceFinder.h"

#include <algorithm>

namespace pelix::render {

namespace {

double median(std::vector<double> values) {
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::ranges::nth_element(values, middle);
    double m = *middle;
    if (values.size() % 2 == 0) m = (m + *std::max_element(values.begin(), middle)) / 2;
    return m;
}

}  // namespace

FaceFinding steadyFace(const std::vector<std::optional<QRectF>>& perPicture) {
    std::vector<std::optional<double>> centres;
    std::vector<double> left, top, right, bottom;
    for (const auto& box : perPicture) {
        centres.push_back(box ? std::optional(box->center().x()) : std::nullopt);
        if (!box) continue;
        left.push_back(box->left());
        top.push_back(box->top());
        right.push_back(box->right());
        bottom.push_back(box->bottom());
    }
    FaceFinding finding = steadyFace(centres);
    if (finding.x) {
        finding.box =
            QRectF(QPointF(median(left), median(top)), QPointF(median(right), median(bottom)));
    }
    return finding;
}

FaceFinding steadyFace(const std::vector<std::optional<double>>& perPicture) {
    FaceFinding finding;
    finding.sampled = int(perPicture.size());
    std::vector<double> seen;
    for (const auto& x : perPicture) {
        if (x) seen.push_back(*x);
    }
    finding.found = int(seen.size());
    if (finding.found < std::max(2, (finding.sampled + 3) / 4)) return finding;
    finding.x = median(std::move(seen));
    return finding;
}

QString faceCascade() {
    const QString chosen = qEnvironmentVariable("PELIX_FACE_CASCADE");
    return chosen.isEmpty() ? QStringLiteral(PELIX_FACE_CASCADE) : chosen;
}

}  // namespace pelix::render
