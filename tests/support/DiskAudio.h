#pragma once

#include "support/TempDataDir.h"

#include <QFile>

#include <algorithm>
#include <vector>

namespace quillmere::test {

// Points SDL at its disk driver, which writes exactly what a device plays into a file, in real
// time. Devices opened after use() write to that file.
class DiskAudio {
public:
    DiskAudio() {
        qputenv("SDL_AUDIODRIVER", "disk");
        use(QStringLiteral("out.raw"));
    }
    ~DiskAudio() {
        qunsetenv("SDL_AUDIODRIVER");
        qunsetenv("SDL_DISKAUDIOFILE");
    }

    void use(const QString& name) {
        qputenv("SDL_DISKAUDIOFILE", QFile::encodeName(m_dir.file(name)));
    }

    // The file as mono float samples, the format every device here is opened with.
    std::vector<float> samples(const QString& name = QStringLiteral("out.raw")) const {
        const QByteArray bytes = m_dir.read(name).value_or(QByteArray());
        std::vector<float> out(static_cast<std::size_t>(bytes.size()) / sizeof(float));
        // Copied as bytes: the file's data need not be aligned for floats.
        std::copy_n(bytes.constData(), out.size() * sizeof(float),
                    reinterpret_cast<char*>(out.data()));
        return out;
    }

private:
    TempDataDir m_dir;
};

} // namespace quillmere::test
