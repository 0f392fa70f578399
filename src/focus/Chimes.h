#pragma once

#include <QString>

#include <span>

// The two chimes the program sounds at the start and end of a deep block, synthesized on first
// use and kept for the life of the process: "Submarine", a low sonar-like ping, and "Glass", a
// bright tap on a glass.
namespace quillmere::chimes {

inline constexpr int sampleRate = 48000;

// Mono float samples at sampleRate, peak well below 1 and ending in exact silence; empty for
// a name that is not one of the two.
std::span<const float> samples(const QString& name);

} // namespace quillmere::chimes
