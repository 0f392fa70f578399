#pragma once

#include "ui/KindColors.h"

#include <QColor>
#include <QObject>
#include <QString>

#include <functional>

namespace quillmere {

// What the nudge card shows. The view redraws on `changed`, so a second nudge while the card is
// up replaces its texts in place.
class NudgeModel final : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    QString title() const { return m_title; }
    QString detail() const { return m_detail; }
    QColor accent() const { return m_accent; }

    void setTitle(const QString& title);
    void setDetail(const QString& detail);
    void setAccent(const QColor& accent);

    void setOnTap(std::function<void()> onTap) { m_onTap = std::move(onTap); }
    void tap() const {
        if (m_onTap)
            m_onTap();
    }

Q_SIGNALS:
    void changed();

private:
    QString m_title;
    QString m_detail;
    QColor m_accent = ui::crimson();
    std::function<void()> m_onTap;
};

} // namespace quillmere
