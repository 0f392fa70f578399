#include "FuzzSupport.h"

using namespace quillmere;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto settings = json::decodeSettingsFile(fuzz::bytes(data, size));
    if (!settings)
        return 0;
    const auto again = json::decodeSettingsFile(json::encodeStateFile(json::encode(*settings)));
    fuzz::require(again && *again == *settings, "settings do not survive a round trip");
    return 0;
}
