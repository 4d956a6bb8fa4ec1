// What a panel does with one controller: it polls a handful of values and tells what is
// new, through refusals, silence and a line that comes and goes.
//
// It has no clock and prints nothing, so that tests can drive it (examples/host-tests).
#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

#include "drivers/driverinterface.h"
#include "host/link.h"
#include "host/schedule.h"
#include "host/tagaddress.h"

struct PanelSettings
{
    QString link; ///< what host::Link opens: /dev/ttyS1, tcp://10.0.0.5:4001
    host::LineSettings line;
    host::PortSettings port;
    qint64 firstPauseMs = 500; ///< after an attempt that failed; each further one twice as long
    qint64 longestPauseMs = 10000;
};

/// The driver's own settings, as its default records have them; the link is left empty.
PanelSettings defaultSettings(DriverInterface& driver);

class Panel
{
public:
    /// The driver is borrowed, and used by nobody else. It stays the same for the panel's
    /// whole life, so that its transaction numbers go on.
    Panel(DriverInterface& driver, const PanelSettings& settings);

    /// Adds a value to poll. False, with one line in @p error, for a wrong address.
    bool add(const QString& name, const QString& address, QString* error);

    /// Reads every value once and gives a line for each piece of news: a value or an
    /// error that was not there before, a line that opened or failed. Blocks as long as
    /// the requests do. @p now is in milliseconds from any origin; while a pause lasts
    /// nothing happens.
    QStringList poll(qint64 now);

private:
    struct Item
    {
        QString name;
        host::TagAddress address;
        QString shown;          ///< what the panel shows; empty: nothing that is known
        bool isRefused = false; ///< the controller has no such value: not asked for again
    };

    bool open(QStringList* news);
    void readAll(QStringList* news);
    QString read(Item& item);
    void pause(const QString& reason, QStringList* news);

    DriverInterface& m_driver;
    const PanelSettings m_settings;
    std::vector<Item> m_items;
    std::unique_ptr<host::Link> m_link; ///< null while it is not open
    QString m_trouble;                  ///< of the line or the whole controller, in this round
    host::Backoff m_pauses;
    qint64 m_nextAttempt = 0;
    qint64 m_now = 0;
};
