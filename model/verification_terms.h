#pragma once

#include "records/redaction_records.h"

#include <string>
#include <vector>

namespace norvane {

// The terms an export is verified against: the matched text of every search-made region
// that is not blank, kept as written (not trimmed), each once; then the `extraTerms` not
// already among them.
std::vector<std::string> verificationTerms(const std::vector<RedactionRegion>& regions,
                                           const std::vector<std::string>& extraTerms = {});

}  // namespace norvane
