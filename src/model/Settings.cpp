#include "model/Settings.h"

namespace quillmere {

QString rawValue(DeepWorkNoise noise) {
    return noise == DeepWorkNoise::off ? QStringLiteral("off") : QStringLiteral("brown");
}

std::optional<DeepWorkNoise> deepWorkNoiseFromRaw(const QString& text) {
    if (text == u"off")
        return DeepWorkNoise::off;
    if (text == u"brown")
        return DeepWorkNoise::brown;
    return std::nullopt;
}

} // namespace quillmere
