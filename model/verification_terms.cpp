#include "model/verification_terms.h"

#include "engine/search_keys.h"

#include <algorithm>

namespace norvane {

std::vector<std::string> verificationTerms(const std::vector<RedactionRegion>& regions,
                                           const std::vector<std::string>& extraTerms) {
    std::vector<std::string> terms;
    const auto add = [&terms](const std::string& term) {
        if (!trimmed(term).empty() && std::find(terms.begin(), terms.end(), term) == terms.end()) {
            terms.push_back(term);
        }
    };
    for (const auto& region : regions) {
        if (region.matchedText) {
            add(*region.matchedText);
        }
    }
    for (const auto& term : extraTerms) {
        add(term);
    }
    return terms;
}

}  // namespace norvane
