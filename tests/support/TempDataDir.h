#pragma once

#include <QByteArray>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include <optional>

namespace quillmere::test {

// A data folder of its own for one test, removed afterwards.
class TempDataDir {
public:
    QString path() const { return m_dir.path(); }
    QString file(const QString& name) const { return m_dir.filePath(name); }

    void write(const QString& name, const QByteArray& bytes) const {
        QFile f(file(name));
        if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            f.write(bytes);
    }

    std::optional<QByteArray> read(const QString& name) const {
        QFile f(file(name));
        if (!f.open(QIODevice::ReadOnly))
            return std::nullopt;
        return f.readAll();
    }

    bool exists(const QString& name) const { return QFileInfo::exists(file(name)); }

private:
    QTemporaryDir m_dir;
};

} // namespace quillmere::test
