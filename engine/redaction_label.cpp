#include "engine/redaction_label.h"

#include <algorithm>

namespace norvane {
namespace {

constexpr double kMinWidth = 72.0;
constexpr double kMinHeight = 18.0;
constexpr double kMaxFontSize = 11.0;
constexpr double kHeightFactor = 0.45;

}  // namespace

std::optional<double> redactionLabelSize(double seenWidth, double seenHeight) {
    if (!(seenWidth >= kMinWidth && seenHeight >= kMinHeight)) {
        return std::nullopt;
    }
    return std::min(seenHeight * kHeightFactor, kMaxFontSize);
}

}  // namespace norvane
