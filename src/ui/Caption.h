#pragma once

#include "ui/Typography.h"

#include <QLabel>

namespace quillmere::ui {

// Small secondary text beside the controls it names: one look for every caption in the panel.
inline QLabel* captionLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setFont(font(TextStyle::caption));
    // A role rather than a colour, so that it follows the palette between light and dark.
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

} // namespace quillmere::ui
