#include "store/AtomicFile.h"

#include <QSaveFile>

namespace quillmere {

bool writeFileAtomically(const QString& path, const QByteArray& bytes) {
    QSaveFile file(path);
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly)) {
        file.cancelWriting();
        return false;
    }
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

} // namespace quillmere
