#pragma once
// One hostile input through the engine: open, page facts, text search, low-resolution
// rendering of every page, export into memory and reopening the copy. Shared by the fuzzer
// and the test that replays the inputs it once crashed on.

#include <cstddef>
#include <cstdint>

namespace norvane::fuzz {

// Returns normally for any input the engine handles as it should (opened or refused with a
// clear error); traps when an engine promise is broken. Crashes, leaks and undefined
// behaviour are the sanitizers' to report.
void exerciseEngine(const std::uint8_t* data, std::size_t size);

}  // namespace norvane::fuzz
