#pragma once

#include "model/PlannedBlock.h"
#include "model/WorkKind.h"

#include <QAbstractButton>
#include <QHash>
#include <QLineEdit>
#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <functional>
#include <optional>

class QLabel;
class QPropertyAnimation;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace quillmere {

class BlockStore;

// The backlog's small state. The schedule view owns it (its dismiss layer and "Plan a
// Block" change it too); the list reads and writes it in place.
struct BacklogState {
    bool expanded = false;
    bool adding = false;
    QString newTitle;
    WorkKind newKind = WorkKind::deep;
};

// The small coloured square that names a kind and switches it when clicked.
class KindSwatch final : public QAbstractButton {
    Q_OBJECT

public:
    explicit KindSwatch(QWidget* parent = nullptr);
    void setKind(WorkKind kind);
    WorkKind kind() const { return m_kind; }
    QSize sizeHint() const override { return {14, 14}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    WorkKind m_kind = WorkKind::deep;
};

// The entry row's text field: Escape discards, and losing focus is reported.
class PlannedEntryField final : public QLineEdit {
    Q_OBJECT

public:
    using QLineEdit::QLineEdit;

Q_SIGNALS:
    void escapePressed();
    void focusLost();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
};

class PlannedListView;

// One backlog entry: its kind swatch, its title and, while the pointer is over it, the pin and
// delete buttons. A click anywhere else on it schedules the entry.
class PlannedRow final : public QWidget {
    Q_OBJECT

public:
    PlannedRow(PlannedListView& list, QWidget* parent);

    void setItem(const PlannedBlock& item, bool hovered, bool pending);
    void setHovered(bool hovered);
    const PlannedBlock& item() const { return m_item; }
    bool isPending() const { return m_pending; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void elideTitle();
    void paintIcons();

    PlannedListView& m_list;
    PlannedBlock m_item;
    bool m_hovered = false;
    bool m_pending = false;
    QRect m_pressedOnScreen;
    KindSwatch* m_swatch;
    QLabel* m_title;
    QToolButton* m_pin;
    QToolButton* m_delete;
};

// The collapsible backlog at the top of the panel.
class PlannedListView final : public QWidget {
    Q_OBJECT

public:
    static constexpr int rowHeight = 26;
    static constexpr int scrollHeight =
        117; // four and a half rows: the cut row shows there is more
    static constexpr int scrollFrom = 5;

    PlannedListView(BlockStore& store, BacklogState& state, QWidget* parent = nullptr);
    ~PlannedListView() override;

    // The block open in the editor; a row with that id is marked.
    void setPendingID(const std::optional<QUuid>& id);

    // Rebuilds the view from the backlog state and the store's backlog.
    void sync();

    // Return in the field or the field losing focus: keep a non-blank title, close the row.
    void commitNew();
    // Escape: close the row and forget the text.
    void cancelNew();

    std::optional<QUuid> hoveredID() const { return m_hoveredID; }
    void rowEntered(const QUuid& id);
    void rowLeft(const QUuid& id);
    void scheduleRow(const PlannedBlock& item);
    void toggleKind(const PlannedBlock& item);
    void togglePin(const PlannedBlock& item);
    void removeRow(const PlannedBlock& item);

Q_SIGNALS:
    void scheduleRequested(const quillmere::PlannedBlock& item);
    // The list changed the backlog state, so the host can follow.
    void stateChanged();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    QWidget* buildHeader();
    QWidget* buildEntryRow();
    QWidget* buildRowsArea();
    void connectControls();
    void changed();
    void toggleExpanded();
    void openEntry();
    void syncRows();
    void rebuildRows();
    void showHover();
    void hoverRowUnderPointer();
    void foldRows(bool show, int height);

    BlockStore& m_store;
    BacklogState& m_state;
    std::optional<QUuid> m_pendingID;
    std::optional<QUuid> m_hoveredID;

    QWidget* m_header;
    QWidget* m_chevron;
    QLabel* m_count;
    QAbstractButton* m_plus;
    QWidget* m_entryRow;
    KindSwatch* m_entrySwatch;
    PlannedEntryField* m_entry;
    QScrollArea* m_rowsArea;
    QWidget* m_rowsHost;
    QVBoxLayout* m_rowsLayout;
    QHash<QUuid, PlannedRow*> m_rows;
    bool m_entryWasOpen = false;
    bool m_syncingRows = false;
    bool m_rowsDirty = false;
    bool m_rowsShown = false;
    QPointer<QPropertyAnimation> m_folding;
};

} // namespace quillmere
