#pragma once

#include "ui/Palette.h"
#include "ui/Typography.h"

#include <QLabel>

namespace quillmere::ui {

// Small secondary text beside the controls it names: one look for every caption in the panel.
inline QLabel* captionLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(font(TextStyle::caption));
    QPalette p = label->palette();
    p.setColor(QPalette::WindowText, secondaryColor(p));
    label->setPalette(p);
    return label;
}

} // namespace quillmere::ui
