#include "focus/NudgeModel.h"

namespace quillmere {

void NudgeModel::setTitle(const QString& title) {
    if (title == m_title)
        return;
    m_title = title;
    Q_EMIT changed();
}

void NudgeModel::setDetail(const QString& detail) {
    if (detail == m_detail)
        return;
    m_detail = detail;
    Q_EMIT changed();
}

void NudgeModel::setAccent(const QColor& accent) {
    if (accent == m_accent)
        return;
    m_accent = accent;
    Q_EMIT changed();
}

} // namespace quillmere
