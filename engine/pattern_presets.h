#pragma once
// Kinds of personal data found by pattern rather than by a typed term: e-mail addresses,
// phone numbers, IBANs, card numbers and the like. Each is an ICU regular expression plus,
// where the data carries one, its check (mod 97 for an IBAN, Luhn for a card number).

#include <optional>
#include <string_view>
#include <vector>

namespace norvane {

enum class PatternPreset { email, phone, iban, paymentCard, socialSecurityNumber, date, ipv4, ipv6, webAddress };

struct PatternPresetInfo {
    PatternPreset preset;
    std::string_view name;   // the command line's name, e.g. "email"
    std::string_view title;  // the menu's text
};

// Every preset, in menu order.
const std::vector<PatternPresetInfo>& patternPresets();
std::optional<PatternPreset> patternPresetNamed(std::string_view name);

}  // namespace norvane
