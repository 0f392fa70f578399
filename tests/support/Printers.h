#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QUuid>

#include <ostream>

// Readable failure messages for the Qt types the tests compare.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}
inline void PrintTo(const QByteArray& b, std::ostream* os) {
    *os << '"' << b.toStdString() << '"';
}
inline void PrintTo(const QUuid& id, std::ostream* os) {
    *os << id.toString(QUuid::WithoutBraces).toStdString();
}
inline void PrintTo(const QDateTime& t, std::ostream* os) {
    *os << t.toString(Qt::ISODateWithMs).toStdString();
}
inline void PrintTo(const QDate& d, std::ostream* os) {
    *os << d.toString(Qt::ISODate).toStdString();
}
