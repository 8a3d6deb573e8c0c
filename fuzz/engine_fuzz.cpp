// libFuzzer entry: `make fuzz`.
#include "fuzz/exercise.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    norvane::fuzz::exerciseEngine(data, size);
    return 0;
}
