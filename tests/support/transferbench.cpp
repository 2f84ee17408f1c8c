#include "transferbench.h"

#include "device/device.h"
#include "devicerow.h"
#include "testenvironment.h"
#include "thisprocess.h"
#include "web/webmanager.h"

#include <QAbstractButton>
#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QCalendarWidget>
#include <QComboBox>
#include <QDialog>
#include <QDir>
#include <QNetworkReply>
#include <QPalette>
#include <QPointer>
#include <QRegularExpression>
#include <QSpinBox>
#include <QTableWidget>
#include <QtTest>

#include <chrono>
#include <cmath>

using namespace std::chrono_literals;
using simulator::Fault;

namespace {

/// Milliseconds for what all devices do at the same time, by a build with sanitizers too.
constexpr int patience = 20000;

const QString canceled = QStringLiteral("Canceled, #ff0000");
const QString finished = QStringLiteral("Finished, #00ff00");
const QString errorWriting = QStringLiteral("Error writing file, #ff0000");

QString wrongStatus(int status)
{
    return QStringLiteral("Wrong HTTP Status-Code %1, #ff0000").arg(status);
}

/// "a-0E5A11000001-TIME.csv" for "a-0E5A11000001-20210303-090507.csv".
QString withoutTime(const QString &name, const QDateTime &begin)
{
    static const QRegularExpression pattern(QStringLiteral("-(\\d{8}-\\d{6})\\.(qini|csv)$"));
    const QRegularExpressionMatch match = pattern.match(name);
    QDateTime time = QDateTime::fromString(match.captured(1), QStringLiteral("yyyyMMdd-hhmmss"));
    time.setTimeSpec(Qt::UTC);
    if (!time.isValid() || time < begin || time > QDateTime::currentDateTimeUtc()) {
        return name;
    }
    return QString(name).replace(match.capturedStart(1), match.capturedLength(1), QStringLiteral("TIME"));
}

QDateTime thisSecond()
{
    return QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), Qt::UTC);
}

} // namespace

TransferBench::TransferBench(const simulator::FleetOptions &options)
    : m_begin(thisSecond())
    , m_fleet(std::make_unique<simulator::Fleet>(options))
{
    if (!QDir().mkdir(directory())) {
        qFatal("There is no directory for the files.");
    }
}

TransferBench::~TransferBench() = default;

int TransferBench::addDevice(const QByteArray &hostName, simulator::DeviceOptions options)
{
    const int number = m_fleet->deviceCount() + 1;
    if (!options.mac) {
        options.mac = simulator::MacAddress{0x0E,
                                            0x5A,
                                            0x11,
                                            0x00,
                                            static_cast<std::uint8_t>(number >> 8),
                                            static_cast<std::uint8_t>(number & 0xFF)};
    }
    options.hostName = hostName.toStdString();
    return m_fleet->addDevice(std::move(options));
}

int TransferBench::addOpenDevice(const QByteArray &hostName, simulator::DeviceOptions options)
{
    options.anonymousLevel = 3;
    return addDevice(hostName, std::move(options));
}

void TransferBench::start()
{
    m_fleet->start();
    for (int i = 0; i < m_fleet->deviceCount(); ++i) {
        m_rows.push_back(std::make_unique<DeviceRow>(*m_fleet, i));
    }
}

void TransferBench::dropRows()
{
    m_rows.clear();
}

Device &TransferBench::device(int index) const
{
    return m_rows.at(static_cast<std::size_t>(index))->device();
}

QList<Device *> TransferBench::devices() const
{
    QList<Device *> devices;
    for (const auto &row : m_rows) {
        devices += &row->device();
    }
    return devices;
}

QString TransferBench::text(int index, int column) const
{
    return m_rows.at(static_cast<std::size_t>(index))->text(column);
}

bool TransferBench::ask(int index) const
{
    const DeviceRow &row = *m_rows.at(static_cast<std::size_t>(index));
    const int before = row.newDataCount();
    device(index).updateInfo();
    return QTest::qWaitFor([&] { return row.newDataCount() > before; }, patience);
}

bool TransferBench::logIn(int index, const QString &user) const
{
    const DeviceRow &row = *m_rows.at(static_cast<std::size_t>(index));
    const int before = row.newDataCount();
    device(index).login(user, user);
    return QTest::qWaitFor([&] { return row.newDataCount() > before; }, patience) &&
           !device(index).cookies().isEmpty();
}

QString TransferBench::directory() const
{
    return m_root.filePath(QStringLiteral("out"));
}

QMap<QString, QByteArray> TransferBench::files() const
{
    QMap<QString, QByteArray> files;
    for (const QString &directory : {m_root.path(), TransferBench::directory()}) {
        const QFileInfoList entries = QDir(directory).entryInfoList(
            QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
        for (const QFileInfo &entry : entries) {
            QFile file(entry.filePath());
            const bool isOpen = file.open(QIODevice::ReadOnly);
            files.insert(withoutTime(entry.fileName(), m_begin),
                         isOpen ? file.readAll() : QByteArrayLiteral("(can't be read)"));
        }
    }
    return files;
}

std::vector<simulator::HttpRecord> TransferBench::operations(int index) const
{
    std::vector<simulator::HttpRecord> requests;
    for (simulator::HttpRecord &request : m_fleet->journal().requests) {
        const QByteArray target = QByteArray::fromStdString(request.target);
        if ((index < 0 || request.device == index) &&
            (target.startsWith("/tpl/") || target == "/admin/config.cgi")) {
            requests.push_back(std::move(request));
        }
    }
    return requests;
}

bool TransferBench::areAllClosed() const
{
    // The network thread does one thing after the other: a request of now is refused when it has done all.
    WebManager manager;
    const QNetworkReply *const last =
        manager.get(QNetworkRequest(QUrl(QStringLiteral("http://10.77.0.1:9/"))));
    // The fleet may have yet to look at connections that have come and gone, and between two of them none is
    // open. With each question it comes round to the next.
    const auto isIdle = [this] {
        constexpr int rounds = 10;
        const std::uint64_t before = m_fleet->counters().connections;
        for (int i = 0; i < rounds; ++i) {
            static_cast<void>(m_fleet->indexOf({}));
            const simulator::Counters now = m_fleet->counters();
            if (now.openConnections != 0 || now.connections != before) {
                return false;
            }
        }
        return true;
    };
    const bool areClosed =
        QTest::qWaitFor([last] { return last->isFinished(); }, patience) && QTest::qWaitFor(isIdle, patience);
    if (!areClosed) {
        qWarning("connections are left:\n%s", thisprocess::connections().constData());
    }
    return areClosed;
}

bool TransferBench::comesToRest() const
{
    if (!QTest::qWaitFor([] { return orphanedManagers().isEmpty(); }, patience)) {
        qWarning() << orphanedManagers().size() << "clients are left";
        return false;
    }
    return areAllClosed();
}

DialogUser::DialogUser(QDialog &dialog)
    : m_dialog(dialog)
    , m_table(*dialog.findChild<QTableWidget *>(QStringLiteral("tableWidget")))
{
    m_connection =
        QObject::connect(&m_table, &QTableWidget::itemChanged, &dialog, [this](const QTableWidgetItem *item) {
            if (item->column() == m_table.columnCount() - 1) {
                m_past[item->row()] += shown(item->row());
            }
        });
}

DialogUser::~DialogUser()
{
    QObject::disconnect(m_connection);
}

QAbstractButton &DialogUser::button(const char *objectName) const
{
    return find<QAbstractButton>(objectName);
}

QString DialogUser::enabledButtons() const
{
    QStringList names;
    for (const char *const name : {"pushButtonLoad", "pushButtonCancel", "pushButtonClose"}) {
        const auto *const button = m_dialog.findChild<QAbstractButton *>(QLatin1String(name));
        if (button && button->isEnabled()) {
            names += button->text();
        }
    }
    return names.join(QLatin1Char(' '));
}

QString DialogUser::status(int row) const
{
    return m_table.item(row, m_table.columnCount() - 1)->text();
}

QString DialogUser::color(int row) const
{
    const QVariant background = m_table.item(row, m_table.columnCount() - 1)->data(Qt::BackgroundRole);
    return background.isValid() ? background.value<QBrush>().color().name() : QStringLiteral("none");
}

QString DialogUser::shown(int row) const
{
    return status(row) + QLatin1String(", ") + color(row);
}

QStringList DialogUser::statuses() const
{
    QStringList statuses;
    for (int row = 0; row < m_table.rowCount(); ++row) {
        statuses += shown(row);
    }
    return statuses;
}

bool DialogUser::awaitEnd() const
{
    const QAbstractButton &cancel = button("pushButtonCancel");
    const bool ended = QTest::qWaitFor([&] { return !cancel.isEnabled(); }, patience);
    if (!ended) {
        qWarning() << "still at work:" << statuses();
    }
    return ended;
}

const QString allHistoryInputs =
    QStringLiteral("pushButtonLoad pushButtonClose fileSelectorOutput calendarWidgetStart calendarWidgetEnd "
                   "spinBoxStepSize comboBoxStepUnit");

QString enabledHistoryInputs(const DialogUser &user)
{
    QStringList names;
    const QString all = allHistoryInputs + QLatin1String(" pushButtonCancel");
    const QStringList candidates = all.split(QLatin1Char(' '));
    for (const QString &name : candidates) {
        if (user.dialog().findChild<QWidget *>(name)->isEnabled()) {
            names += name;
        }
    }
    return names.join(QLatin1Char(' '));
}

void chooseHistory(const DialogUser &user, const QDate &first, const QDate &last, int step, int unit)
{
    user.find<QCalendarWidget>("calendarWidgetStart").setSelectedDate(first);
    user.find<QCalendarWidget>("calendarWidgetEnd").setSelectedDate(last);
    user.find<QSpinBox>("spinBoxStepSize").setValue(step);
    user.find<QComboBox>("comboBoxStepUnit").setCurrentIndex(unit);
}

bool withDialog(const std::function<void()> &open, const std::function<void(DialogUser &)> &use)
{
    bool found = false;
    QObject context;
    QTimer::singleShot(0, &context, [&found, &use] {
        const QPointer<QDialog> dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        found = dialog != nullptr;
        if (!dialog) {
            return;
        }
        // What waits behind this very call is else left alone as long as nothing new comes.
        QAbstractEventDispatcher::instance()->wakeUp();
        {
            DialogUser user(*dialog);
            use(user);
        }
        if (dialog) {
            dialog->close();
        }
    });
    open();
    return found;
}

std::vector<Misbehaviour> misbehaviours()
{
    // Bytes of a gzip that grows by three orders of magnitude must arrive as they are; their size is
    // compared elsewhere.
    const std::string page = "<html>a page</html>";
    const auto status = [](const char *name, int code) {
        return Misbehaviour{
            name, {Fault::status(code, "As told")}, wrongStatus(code), false, {}, wrongStatus(code)};
    };
    const QByteArray own = QByteArrayLiteral("(own)");
    Fault pageNotFound = Fault::status(404, "Not Found");
    pageNotFound.body = page;
    Fault redirection = Fault::status(302, "Found", "/elsewhere");
    redirection.body = page;
    return {
        {"none", {}, finished, true, own, finished},
        {"refuses", {Fault::refuse()}, canceled, false, {}, canceled},
        {"hangs", {Fault::hang()}, canceled, false, {}, canceled, false, true},
        {"is late", {Fault::answerAfter(300ms)}, finished, true, own, finished},
        {"drips", {Fault::drip(16, 2ms)}, finished, true, own, finished},
        {"breaks off", {Fault::cut()}, errorWriting, false, {}, finished},
        {"closes", {Fault::closeWithoutAnswer()}, canceled, false, {}, canceled},
        status("400", 400),
        status("401", 401),
        status("403", 403),
        status("404", 404),
        status("407", 407),
        status("500", 500),
        status("503", 503),
        {"404 with a page", {pageNotFound}, wrongStatus(404), false, {}, wrongStatus(404)},
        {"200 without a body", {Fault::status(200, "OK")}, finished, true, "", finished},
        {"204", {Fault::status(204, "No Content")}, finished, true, "", finished},
        {"302", {redirection}, finished, true, QByteArray::fromStdString(page), finished},
        {"302 to nowhere", {Fault::status(302, "Found")}, finished, true, "", finished},
        {"303 to another host",
         {Fault::status(303, "See Other", "https://10.77.128.200:9/")},
         finished,
         true,
         "",
         finished},
        {"399", {Fault::status(399, "As told")}, finished, true, "", finished},
        {"no HTTP", {Fault::garbage()}, canceled, false, {}, canceled},
        {"half a document",
         {Fault::invalidJson()},
         finished,
         true,
         QByteArrayLiteral(R"({"Sensor 1": {"v": "21.5", )"),
         finished},
        {"another body",
         {Fault::answerWith(std::string("a\0b\r\n\xFF", 6))},
         finished,
         true,
         QByteArray("a\0b\r\n\xFF", 6),
         finished},
        {"HTTPS", {}, finished, true, own, finished, true},
        {"HTTPS refuses", {Fault::refuse()}, canceled, false, {}, canceled, true},
        {"HTTPS breaks off", {Fault::cut()}, errorWriting, false, {}, finished, true},
        {"HTTPS closes", {Fault::closeWithoutAnswer()}, canceled, false, {}, canceled, true},
        {"HTTPS without TLS", {Fault::tlsGarbage()}, canceled, false, {}, canceled, true},
        {"HTTPS without handshake", {Fault::tlsHang()}, canceled, false, {}, canceled, true, true},
        {"HTTPS hangs", {Fault::hang()}, canceled, false, {}, canceled, true, true},
        {"HTTPS 500", {Fault::status(500, "Oops")}, wrongStatus(500), false, {}, wrongStatus(500), true},
    };
}

DarkPalette::DarkPalette()
{
    QPalette palette = QApplication::palette();
    palette.setColor(QPalette::Text, Qt::white);
    palette.setColor(QPalette::WindowText, Qt::white);
    palette.setColor(QPalette::Base, QColor(20, 20, 20));
    palette.setColor(QPalette::Window, QColor(40, 40, 40));
    QApplication::setPalette(palette);
}

DarkPalette::~DarkPalette()
{
    QApplication::setPalette(QPalette());
}

int contrast(const QTableWidget &table, int row, int column)
{
    const QTableWidgetItem &item = *table.item(row, column);
    const QPalette &palette = table.palette();
    const QColor ground =
        item.data(Qt::BackgroundRole).isValid() ? item.background().color() : palette.color(QPalette::Base);
    const QColor text =
        item.data(Qt::ForegroundRole).isValid() ? item.foreground().color() : palette.color(QPalette::Text);
    return std::abs(qGray(ground.rgb()) - qGray(text.rgb()));
}
