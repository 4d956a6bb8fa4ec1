#include <QtTest>

#include <atomic>
#include <csignal>
#include <poll.h>
#include <thread>
#include <unistd.h>

#include "simulator/server.h"
#include "support/bytes.h"
#include "support/program.h"
#include "support/ptypair.h"
#include "support/rows.h"

using support::Outcome;
using support::runDf1;

namespace {

/// A pseudo-terminal with somebody at its far end who is no controller.
class Stranger
{
public:
    /// @p says is sent for every piece that comes; "=" sends that piece back, "!" hangs
    /// the line up.
    explicit Stranger(const QByteArray& says)
        : m_thread([this, says] { answer(says); })
    {}
    ~Stranger()
    {
        m_isOver = true;
        m_thread.join();
    }

    QString port() const { return m_line.slavePath(); }

private:
    void answer(const QByteArray& says)
    {
        while (!m_isOver) {
            pollfd ready = {m_line.master(), POLLIN, 0};
            if (::poll(&ready, 1, 20) <= 0)
                continue;
            char heard[512];
            const ssize_t count = ::read(m_line.master(), heard, sizeof heard);
            if (says == "!") {
                m_line.closeMaster();
                return;
            }
            const QByteArray bytes =
                says == "=" ? QByteArray(heard, static_cast<int>(count)) : says;
            if (::write(m_line.master(), bytes.constData(), static_cast<size_t>(bytes.size())) < 0)
                return;
        }
    }

    support::PtyPair m_line;
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

/// A sweep of all stations waits for each of them.
QStringList doctorAt(const QString& port, const QString& arguments)
{
    return QStringList{"doctor", "--port", port} + arguments.split(' ', Qt::SkipEmptyParts);
}

}

/// df1 doctor as a script sees it.
class TestDoctor : public QObject
{
    Q_OBJECT

private slots:
    void strangers();
    void controllers();
    void ends();
};

// Catches: a verdict with another fault's exit code, advice for a line that nobody has
// understood, and a lost port that is told as silence.
void TestDoctor::strangers()
{
    const std::tuple<const char*, QByteArray, int, int, QString> rows[] = {
        {"nobody", "", 20, 4, "silence: nothing came back at this port"},
        {"echo", "=", 500, 5, "own echo: "},
        {"garbage", hex("FE7A80"), 500, 5, "garbage: bytes came at this port"},
        {"NAKs", hex("1015"), 500, 5, "only NAKs: frames with CRC and with BCC"},
        {"ACKs", hex("1006"), 20, 4, "no station answers: frames with CRC are acknowledged"},
        {"unplugged", "!", 500, 3, ""},
    };
    for (const auto& [name, says, timeout, exitCode, verdict] : rows) {
        const Stranger stranger(says);
        const Outcome outcome =
            runDf1(doctorAt(stranger.port(), QString("--timeout %1").arg(timeout)));
        ROW_COMPARE(name, outcome.exitCode, exitCode);
        ROW_COMPARE(name, outcome.output.left(verdict.size()), verdict);
        ROW_COMPARE(name, outcome.output.count('\n'), exitCode == 3 ? 0 : 1);
        QCOMPARE(outcome.errors.contains("gone: unplugged"), exitCode == 3);
    }
}

// Catches: a controller that is not found, or options that don't reach it.
void TestDoctor::controllers()
{
    const struct
    {
        const char* name;
        quint8 station;
        simulator::CheckMethod check;
        bool overTcp;
        const char* arguments;
        int exitCode;
        QString verdict;
    } rows[] = {
        {"healthy", 1, simulator::CheckMethod::Crc, false, "", 0,
         "healthy: station 1, 1763-L16BWA series B firmware 16, mode RUN (remote), program ID "
         "0001"},
        {"as given", 9, simulator::CheckMethod::Crc, true, "--station 9", 0, "healthy: station 9"},
        {"elsewhere", 9, simulator::CheckMethod::Crc, true, "", 4, "answers from station 9, not 1"},
        {"BCC", 1, simulator::CheckMethod::Bcc, false, "", 5, "only NAKs to frames with CRC"},
    };
    for (const auto& row : rows) {
        simulator::ServerSettings settings;
        settings.station.station = row.station;
        settings.station.check = row.check;
        simulator::Server server(simulator::Controller(simulator::seededTables(1)), settings);
        QString error;
        const auto place = row.overTcp ? simulator::Place(simulator::TcpPlace())
                                       : simulator::Place(simulator::PtyPlace());
        QVERIFY2(server.start(place, &error), qPrintable(error));
        const Outcome outcome =
            runDf1(doctorAt(server.portName(), row.arguments + QString(" --timeout 500")));
        ROW_COMPARE(row.name, outcome.exitCode, row.exitCode);
        const QStringList lines = outcome.output.split('\n');
        ROW_COMPARE(row.name, lines.at(0).left(row.verdict.size()), row.verdict);
        ROW_COMPARE(row.name, lines.value(1),
                    QString("--port %1 --station %2").arg(server.portName()).arg(row.station));
        ROW_COMPARE(row.name, int(outcome.errors.contains("speed and parity can't be told")), 1);
        if (row.exitCode == 5) {
            const Outcome json =
                runDf1(doctorAt(server.portName(), "--timeout 500 --format json -q"));
            QVERIFY2(json.output.contains(R"("finding": "bcc",)"), qPrintable(json.output));
            continue;
        }
        const Outcome read = runDf1(QStringList{"read", "N7:2"} + lines.at(1).split(' '));
        ROW_COMPARE(row.name, read.exitCode, 0);
    }
}

// Catches: a search that can't be stopped, or stops without a word.
void TestDoctor::ends()
{
    const Stranger stranger(hex("1006"));
    support::Program doctor(support::df1(doctorAt(stranger.port(), "--timeout 60")));
    doctor.readErrorLine();
    doctor.signal(SIGINT);
    const Outcome outcome = doctor.end();
    QCOMPARE(outcome.exitCode, 130);
    QVERIFY(outcome.errors.contains("df1: interrupted"));
    QCOMPARE(outcome.output, QString());
}

QTEST_GUILESS_MAIN(TestDoctor)
#include "tst_doctor.moc"
