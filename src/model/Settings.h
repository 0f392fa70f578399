#pragma once

#include <QString>

#include <array>
#include <optional>

namespace quillmere {

enum class DeepWorkNoise { off, brown };

inline constexpr std::array<DeepWorkNoise, 2> allDeepWorkNoises{DeepWorkNoise::off,
                                                                DeepWorkNoise::brown};

QString rawValue(DeepWorkNoise noise);
std::optional<DeepWorkNoise> deepWorkNoiseFromRaw(const QString& text);

// The user's settings; a default-constructed value holds the defaults.
struct Settings {
    bool chimesEnabled = true;
    DeepWorkNoise deepWorkNoise = DeepWorkNoise::brown;
    double noiseVolume = 0.1;
    bool nudgesEnabled = true;
    bool remindersEnabled = true;
    // Beyond the first five, which older files always hold: optional in the file, so a file
    // without it reads as before.
    bool silenceNotifications = false;

    bool operator==(const Settings&) const = default;
};

} // namespace quillmere
