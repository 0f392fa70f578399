#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <cstring>
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
    DiskAudio(const DiskAudio&) = delete;
    DiskAudio& operator=(const DiskAudio&) = delete;

    void use(const QString& name) {
        qputenv("SDL_DISKAUDIOFILE", QFile::encodeName(m_dir.filePath(name)));
    }

    // The file as mono float samples, the format every device here is opened with.
    std::vector<float> samples(const QString& name = QStringLiteral("out.raw")) const {
        QFile f(m_dir.filePath(name));
        if (!f.open(QIODevice::ReadOnly))
            return {};
        const QByteArray bytes = f.readAll();
        std::vector<float> out(static_cast<std::size_t>(bytes.size()) / sizeof(float));
        if (!out.empty()) // an empty vector's data() may be null, which memcpy must not get
            std::memcpy(out.data(), bytes.constData(), out.size() * sizeof(float));
        return out;
    }

private:
    QTemporaryDir m_dir;
};

} // namespace quillmere::test
