#pragma once

#include "store/FocusAids.h"

#include <QStringList>

#include <utility>

namespace quillmere::test {

// Writes every call the store makes into a readable log, so tests can compare whole sequences.
// Repeated calls that change nothing (noise kept at the same volume, the same block watched
// again, the same tooltip) are folded, as the real aids do nothing for them either.
struct RecordingFocusAids final : FocusAids {
    QStringList calls;
    std::optional<QString> toolTip;

    void playNoise(float volume) override { note(u"noise " + QString::number(volume, 'g', 3)); }
    void stopNoise() override { note(QStringLiteral("noise off")); }
    void playSound(const QString& name) override { calls << u"sound " + name; }
    void watchBanners(const WorkBlock& block) override { note(u"watch " + block.title); }
    void stopWatchingBanners() override { note(QStringLiteral("watch off")); }
    // The store offers on every refresh inside the lead time; what the user sees is one card
    // per block and start, which is what gets a line.
    void offerReminder(const WorkBlock& block, Minutes now) override {
        if (std::exchange(m_reminded[block.id], block.startMinutes) != block.startMinutes)
            calls << QStringLiteral("remind %1 at %2").arg(block.title).arg(now);
    }
    void setToolTip(const std::optional<QString>& text) override { toolTip = text; }
    void silenceNotifications(const WorkBlock& block) override { note(u"silence " + block.title); }
    void endSilence() override { note(QStringLiteral("silence off")); }

    // Only the changes of the folded states, and every sound and reminder.
    // "noise off" or "watch off" before anything ever started is not worth a line.
    void note(const QString& state) {
        QString& last = m_lastState[state.section(u' ', 0, 0)];
        if (last != state && !(last.isEmpty() && state.endsWith(u" off")))
            calls << (last = state);
    }

private:
    QHash<QString, QString> m_lastState;
    QHash<QUuid, std::optional<Minutes>> m_reminded;
};

} // namespace quillmere::test
