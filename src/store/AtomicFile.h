#pragma once

#include <QByteArray>
#include <QString>

namespace quillmere {

// Replaces the file in one step: the bytes go to a sibling temporary file that is renamed
// over the old one, so a crash leaves either the old content or the new, never a mix. There
// is deliberately no fallback to writing in place. Returns whether the file was replaced.
bool writeFileAtomically(const QString& path, const QByteArray& bytes);

} // namespace quillmere
