#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    quillmere::fuzz::roundTrip<quillmere::RepeatRule>(data, size);
    return 0;
}
