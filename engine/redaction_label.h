#pragma once
// The white label the export sets in each box when asked to, shared with the canvas so that
// what is reviewed shows the label the copy will carry.

#include <optional>
#include <string_view>

namespace norvane {

inline constexpr std::string_view kRedactionLabelText = "REDACTED";

// The label's size in points for a box seen `seenWidth` × `seenHeight` points upright; none
// for a box too small to carry it.
std::optional<double> redactionLabelSize(double seenWidth, double seenHeight);

}  // namespace norvane
