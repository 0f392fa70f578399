#pragma once

#include <QPointer>
#include <QWidget>

namespace quillmere {

class NudgeModel;

// The card's face: an accent dot beside a title and one line of detail, on a rounded
// background. Its width is fixed; its height follows the texts.
class NudgeView final : public QWidget {
    Q_OBJECT
    // How far the card has faded in, 0 … 1. The animations drive this rather than the window's
    // own opacity, which only a compositor can show and other platforms refuse.
    Q_PROPERTY(qreal cardOpacity READ cardOpacity WRITE setCardOpacity)
public:
    static constexpr int cardWidth = 280;
    static constexpr int padding = 14;
    static constexpr int dotSize = 10;
    static constexpr int spacing = 10;
    static constexpr int lineSpacing = 2;
    static constexpr qreal cornerRadius = 12;

    explicit NudgeView(NudgeModel* model, QWidget* parent = nullptr,
                       Qt::WindowFlags flags = Qt::WindowFlags());

    // Translucent backgrounds only look right where a compositor blends them.
    void setTranslucent(bool translucent);

    qreal cardOpacity() const { return m_opacity; }
    void setCardOpacity(qreal opacity);

    int fittingHeight() const;
    QSize sizeHint() const override;
    // Where the dot is drawn, for a view of the given height.
    static QRect dotRect(int height);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct TextBlocks {
        QRect title;
        QRect detail;
        int height = 0;
    };
    TextBlocks textBlocks() const;
    void refit();

    QPointer<NudgeModel> m_model;
    bool m_translucent = false;
    qreal m_opacity = 1.0;
};

} // namespace quillmere
