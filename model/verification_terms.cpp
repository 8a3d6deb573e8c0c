#include "model/verification_terms.h"

#include "engine/search_keys.h"

#include <algorithm>

namespace norvane {

std::vector<std::string> verificationTerms(const std::vector<RedactionRegion>& regions) {
    std::vector<std::string> terms;
    for (const auto& region : regions) {
        if (!region.matchedText || trimmed(*region.matchedText).empty()) {
            continue;
        }
        if (std::find(terms.begin(), terms.end(), *region.matchedText) == terms.end()) {
            terms.push_back(*region.matchedText);
        }
    }
    return terms;
}

}  // namespace norvane
