#pragma once

#include <QString>

#include <array>
#include <optional>

namespace quillmere {

// The two kinds of work a block can hold. The declaration order is the order in which
// pickers and per-kind tables list them.
enum class WorkKind { deep, shallow };

inline constexpr std::array<WorkKind, 2> allWorkKinds{WorkKind::deep, WorkKind::shallow};

// The raw value written to JSON and to the statistics database: "deep" or "shallow".
QString rawValue(WorkKind kind);

// Exactly "deep" or "shallow" (case-sensitive); anything else is no kind.
std::optional<WorkKind> workKindFromRaw(const QString& text);

// "Deep Work" or "Shallow Work": what a block without a title is called.
QString defaultTitle(WorkKind kind);

WorkKind otherKind(WorkKind kind);

} // namespace quillmere
