#include "desktop/DBusService.h"

#include "desktop/BusNames.h"
#include "model/TimeMath.h"
#include "store/BlockStore.h"
#include "store/FreeTime.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QUuid>

namespace quillmere {

namespace {

QString idText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

DBusService::DBusService(BlockStore& store, QObject* parent) : QObject(parent), m_store(store) {
    m_report = statusAt(m_store.todayBlocks(), m_store.clock().nowMinutes());
    connect(&m_store, &BlockStore::refreshed, this, &DBusService::update);
    connect(&m_store, &BlockStore::blocksChanged, this, &DBusService::update);
}

bool DBusService::publish(QDBusConnection bus) {
    if (!bus.isConnected())
        return false;
    m_bus = bus;
    return bus.registerObject(bus::objectPath(), this,
                              QDBusConnection::ExportScriptableSlots |
                                  QDBusConnection::ExportAllProperties) &&
           bus.registerService(bus::serviceName());
}

void DBusService::update() {
    const StatusReport now = statusAt(m_store.todayBlocks(), m_store.clock().nowMinutes());
    if (now == m_report)
        return;
    const QVariantMap before = statusProperties(m_report);
    QVariantMap changed = statusProperties(now);
    for (auto it = before.begin(); it != before.end(); ++it)
        if (changed.value(it.key()) == it.value())
            changed.remove(it.key());
    m_report = now;
    if (!m_bus.isConnected())
        return;
    QDBusMessage signal = QDBusMessage::createSignal(
        bus::objectPath(), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("PropertiesChanged"));
    signal << bus::interfaceName() << changed << QStringList();
    m_bus.send(signal);
}

void DBusService::OpenPanel() {
    Q_EMIT openPanelRequested();
}

void DBusService::ClosePanel() {
    Q_EMIT closePanelRequested();
}

void DBusService::Quit() {
    // The reply goes out before the program ends.
    QMetaObject::invokeMethod(this, &DBusService::quitRequested, Qt::QueuedConnection);
}

bool DBusService::checkTitleAndKind(const QString& title, const QString& kind, QString& trimmed,
                                    WorkKind& parsed) {
    trimmed = title.trimmed();
    if (trimmed.isEmpty()) {
        sendErrorReply(QDBusError::InvalidArgs, QStringLiteral("The title is empty"));
        return false;
    }
    const std::optional<WorkKind> k = workKindFromRaw(kind);
    if (!k) {
        sendErrorReply(QDBusError::InvalidArgs,
                       QStringLiteral("The kind is \"deep\" or \"shallow\", not \"%1\"").arg(kind));
        return false;
    }
    parsed = *k;
    return true;
}

QString DBusService::AddBlock(const QString& title, const QString& kind, int start, int duration) {
    QString trimmed;
    WorkKind k{};
    if (!checkTitleAndKind(title, kind, trimmed, k))
        return {};
    const std::vector<WorkBlock> today = m_store.todayBlocks();
    const auto placed = FreeTime::placeBlock(
        today, m_store.wallMinutes(), start < 0 ? std::nullopt : std::optional<Minutes>(start),
        duration == 0 ? std::nullopt : std::optional<Minutes>(duration));
    if (const auto* fault = std::get_if<FreeTime::PlacementFault>(&placed)) {
        switch (*fault) {
        case FreeTime::PlacementFault::offGrid:
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("Blocks start and last whole quarter hours"));
            break;
        case FreeTime::PlacementFault::pastMidnight:
            sendErrorReply(QDBusError::InvalidArgs,
                           QStringLiteral("The block would run past midnight"));
            break;
        case FreeTime::PlacementFault::overlap:
            sendErrorReply(bus::overlapError(), QStringLiteral("That time overlaps another block"));
            break;
        case FreeTime::PlacementFault::dayFull:
            sendErrorReply(bus::dayFullError(),
                           QStringLiteral("No free time of that length is left today"));
            break;
        }
        return {};
    }
    const auto& place = std::get<FreeTime::Placement>(placed);
    WorkBlock block;
    block.id = QUuid::createUuid();
    block.title = trimmed;
    block.day = m_store.todayKey();
    block.startMinutes = place.start;
    block.durationMinutes = place.duration;
    block.kind = k;
    block.createdAt = TimeMath::referenceSeconds(m_store.clock().wallClock().now());
    m_store.add(block);
    return idText(block.id);
}

QString DBusService::AddBacklogItem(const QString& title, const QString& kind) {
    QString trimmed;
    WorkKind k{};
    if (!checkTitleAndKind(title, kind, trimmed, k))
        return {};
    PlannedBlock item;
    item.id = QUuid::createUuid();
    item.title = trimmed;
    item.kind = k;
    item.createdAt = TimeMath::referenceSeconds(m_store.clock().wallClock().now());
    m_store.addPlanned(item);
    return idText(item.id);
}

} // namespace quillmere
