#include <QtTest>

#include <cstring>

#include "host/diagnosis.h"
#include "simulator/controller.h"
#include "simulator/station.h"
#include "support/bytes.h"
#include "support/rows.h"

using namespace host;

namespace {

/// The far end of a line: what it puts on the line when it hears something.
using Peer = std::function<QByteArray(const QByteArray& heard)>;

/// A line to a peer who hears nothing but what comes at the right settings.
class FakeLine : public DiagnosisLine, public AbstractDeviceInterface
{
public:
    FakeLine(Peer peer, const QString& settings, QByteArray otherwise)
        : m_peer(std::move(peer))
        , m_settings(settings)
        , m_otherwise(std::move(otherwise))
    {}

    AbstractDeviceInterface* open(const LineSettings& settings, QString* error) override
    {
        m_isRight = m_settings.isEmpty() || settings.toText() == m_settings;
        *error = QStringLiteral("the device does not support it");
        return settings.baudRate == 115200 ? nullptr : this;
    }
    bool hasSettings() const override { return !m_settings.isEmpty(); }
    QString loss() const override { return isLost ? QStringLiteral("unplugged") : QString(); }

    int receiveData(unsigned char* buffer, int maxBytes) override
    {
        const QByteArray taken = m_input.left(maxBytes);
        m_input.remove(0, taken.size());
        std::memcpy(buffer, taken.constData(), static_cast<size_t>(taken.size()));
        return sizeOf(taken);
    }
    void sendData(const unsigned char* data, int length) override
    {
        const QByteArray sent(reinterpret_cast<const char*>(data), length);
        m_input += m_isRight ? m_peer(sent) : m_otherwise;
    }
    void getParameter(int, QVariant& value) override { value = sizeOf(m_input); }
    void setParameter(int, const QVariant&) override { m_input.clear(); }
    int retryCount() override { return 0; }
    int destinationAddress() override { return 1; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

    bool isLost = false;

private:
    Peer m_peer;
    QString m_settings;
    QByteArray m_otherwise;
    QByteArray m_input;
    bool m_isRight = false;
};

Peer controllerAt(int number, simulator::CheckMethod check = simulator::CheckMethod::Crc)
{
    simulator::StationSettings settings;
    settings.station = static_cast<quint8>(number);
    settings.check = check;
    const auto controller = std::make_shared<simulator::Controller>(simulator::seededTables(1));
    const auto station = std::make_shared<simulator::Station>(
        settings, [controller](const QByteArray& request) { return controller->execute(request); });
    return [station](const QByteArray& heard) { return station->receive(heard, 0); };
}

/// One that takes every request for its own, unless it names another station.
Peer controllerNaming(int number, bool alsoWhenAsked)
{
    const auto decoder = std::make_shared<simulator::FrameDecoder>(simulator::CheckMethod::Crc);
    return [=, controller = controllerAt(number)](const QByteArray& heard) {
        QByteArray answer;
        for (const char byte : heard) {
            if (decoder->take(byte) != simulator::FrameDecoder::Event::Message)
                continue;
            QByteArray message = decoder->message();
            const bool isAsked = message.at(0) == char(number);
            message[0] = static_cast<char>(number);
            if (alsoWhenAsked || !isAsked)
                answer += controller(encodeFrame(message, simulator::CheckMethod::Crc));
        }
        return answer + (heard.startsWith(hex("1006")) ? controller(heard) : QByteArray());
    };
}

/// Answers like @p other as long as @p hears says so for the frame and its number.
Peer hearing(const std::function<bool(const QByteArray& frame, int number)>& hears,
             const Peer& other)
{
    return [=, number = 0](const QByteArray& heard) mutable {
        const bool isFrame = heard.startsWith(hex("1002"));
        number += isFrame ? 1 : 0;
        return isFrame && !hears(heard, number) ? QByteArray() : other(heard);
    };
}

/// One that still holds replies for somebody who has gone.
Peer controllerFull()
{
    const Peer controller = controllerAt(1);
    for (quint8 number = 1; number <= simulator::Station::mostReplies; ++number)
        controller(framed(echoRequest({1, 9, number}, "old"), CheckMethod::Crc));
    return controller;
}

Peer alwaysSaying(const QByteArray& bytes)
{
    return [=](const QByteArray&) { return bytes; };
}

Peer refusing()
{
    const auto station = std::make_shared<simulator::Station>(
        simulator::StationSettings(), [](const QByteArray& request) {
            QByteArray reply = request.left(6);
            std::swap(reply.data()[0], reply.data()[1]);
            reply[2] = static_cast<char>(reply.at(2) | 0x40);
            reply[3] = 0x10;
            return reply;
        });
    return [station](const QByteArray& heard) { return station->receive(heard, 0); };
}

Peer echoing(const Peer& behind)
{
    return [=](const QByteArray& heard) { return heard + behind(heard); };
}

const Peer NOBODY = alwaysSaying(QByteArray());

DiagnosisSettings quickSettings()
{
    DiagnosisSettings settings;
    settings.timeoutMs = 1;
    return settings;
}

}

class TestDiagnosis : public QObject
{
    Q_OBJECT

private slots:
    void verdicts();
    void acknowledgedByChance();
    void lostLines();
    void triesTheUsualFirst();
    void tellsMode();
    void frames();
};

// Catches: a verdict for another fault, options that do not fit what was found, and
// health claimed where something has to be changed first.
void TestDiagnosis::verdicts()
{
    const QString usual = "19200,NONE,8,1";
    const QString who = "station 1, 1763-L16BWA series B firmware 16, mode RUN (remote), "
                        "program ID 0001, 8 KB";
    const auto bcc = simulator::CheckMethod::Bcc;
    const struct
    {
        const char* name;
        QString line; // the right one; empty where it does not matter
        QByteArray otherwise;
        Peer peer;
        bool isHealthy;
        QString verdict;
        QString options;
    } rows[] = {
        {"healthy", usual, "", controllerAt(1), true, "healthy: " + who,
         "--port P --line 19200,NONE,8,1 --station 1"},
        {"healthy over tcp", "", "", controllerAt(1), true, "healthy: " + who,
         "--port P --station 1"},
        {"other speed", "9600,NONE,8,1", hex("FE7A"), controllerAt(1), false,
         "healthy, but at 9600,NONE,8,1, not at 19200,NONE,8,1: " + who,
         "--port P --line 9600,NONE,8,1 --station 1"},
        {"other parity", "38400,EVEN,8,1", "", controllerAt(1), false,
         "healthy, but at 38400,EVEN,8,1", "--port P --line 38400,EVEN,8,1 --station 1"},
        {"other station", usual, "", controllerAt(77), false,
         "answers from station 77, not 1: station 77, 1763-",
         "--port P --line 19200,NONE,8,1 --station 77"},
        {"any station", "", "", controllerNaming(9, true), false,
         "answers from station 9, not 1: station 9, 1763-", "--port P --station 9"},
        {"misnamed", "", "", controllerNaming(9, false), false,
         "wrong station: replies to station 1 name station 9, which", ""},
        {"BCC", "", "", controllerAt(1, bcc), false,
         "only NAKs to frames with CRC, answers to frames with BCC", "--port P --station 1"},
        {"BCC at another station", "4800,EVEN,8,1", "", controllerAt(3, bcc), false,
         "only NAKs to frames with CRC, answers to frames with BCC",
         "--port P --line 4800,EVEN,8,1 --station 3"},
        {"silence", usual, "", NOBODY, false, "silence: nothing came back at 18 line settings", ""},
        {"silence over tcp", "", "", NOBODY, false,
         "silence: nothing came back at this port; check cable and power, and that the channel is "
         "set to DF1 full duplex (speed and parity can't be told",
         ""},
        {"echo", usual, "", echoing(NOBODY), false, "own echo: what is sent comes back, and nobody",
         ""},
        {"echo behind noise", "", "",
         [](const QByteArray& heard) { return hex("00FF10") + heard + hex("FE"); }, false,
         "own echo: what is sent comes back, and nobody", ""},
        {"echoing converter", "", "", echoing(controllerAt(1)), false,
         "own echo: what is sent comes back in front of the answers of " + who,
         "--port P --station 1"},
        {"garbage", usual, hex("00FE"), alwaysSaying(hex("80FE7A")), false,
         "garbage: bytes came at 19200,NONE,8,1", ""},
        {"garbage elsewhere", "300,EVEN,8,1", "", alwaysSaying(hex("10")), false,
         "garbage: bytes came at 300,EVEN,8,1", ""},
        {"endless garbage", "", "", alwaysSaying(QByteArray(5000, 'x')), false, "garbage: ", ""},
        {"garbage cut inside a frame", "", "", alwaysSaying(hex("10020001100210034F10")), false,
         "garbage: ", ""},
        {"only NAKs", "", "", alwaysSaying(hex("1015")), false, "only NAKs: frames with CRC and",
         ""},
        {"only ACKs", "", "", alwaysSaying(hex("1006")), false,
         "no station answers: frames with CRC are acknowledged at this port", ""},
        {"losing some", "", "",
         hearing([](const QByteArray&, int number) { return number % 5 != 0; }, controllerAt(1)),
         false, "unsteady: 2 of 10 echoes were lost, damaged, not", "--port P --station 1"},
        {"without ACKs", "", "",
         [controller = controllerAt(1)](const QByteArray& heard) {
             QByteArray answer = controller(heard);
             return answer.startsWith(hex("1006")) ? answer.mid(2) : answer;
         },
         false, "unsteady: 10 of 10 echoes were lost, damaged, not", "--port P --station 1"},
        {"stray bytes", "", "",
         [peer = controllerAt(1)](const QByteArray& heard) { return hex("FE") + peer(heard); },
         false, "unsteady: 10 of 10", "--port P --station 1"},
        {"first one lost", "", "",
         hearing([](const QByteArray&, int number) { return number != 1; }, controllerAt(1)), true,
         "healthy: " + who, "--port P --station 1"},
        {"full of old replies", "", "", controllerFull(), true, "healthy: " + who,
         "--port P --station 1"},
        {"flow control", "", "",
         hearing([](const QByteArray& frame, int) { return !frame.contains(hex("1311")); },
                 controllerAt(1)),
         false, "bytes 11 and 13 do not get through", "--port P --station 1"},
        {"refusing", "", "", refusing(), false,
         "refused: station 1 answers every question with status 10", "--port P --station 1"},
    };
    for (const auto& row : rows) {
        FakeLine line(row.peer, row.line, row.otherwise);
        const DiagnosisSettings settings = quickSettings();
        const Diagnosis diagnosis = diagnose(line, settings, [](const Probe&) {});
        ROW_COMPARE(row.name, verdictOf(diagnosis, settings).left(row.verdict.size()), row.verdict);
        ROW_COMPARE(row.name, optionsFor(diagnosis, "P"), row.options);
        ROW_COMPARE(row.name, isHealthyAsGiven(diagnosis, settings), row.isHealthy);
    }
}

// Catches: "no station answers" where a controller that expects a BCC has acknowledged
// a frame whose CRC happens to begin with it.
void TestDiagnosis::acknowledgedByChance()
{
    FakeLine line(controllerAt(3, simulator::CheckMethod::Bcc), "", "");
    const DiagnosisSettings settings = quickSettings();
    const auto isSoundNext = [&settings](int transaction) {
        const Envelope next = {1, static_cast<quint8>(settings.self),
                               static_cast<quint16>(transaction + 1)};
        const QByteArray request = echoRequest(next, hex("55AA"));
        return framed(request, CheckMethod::Crc).startsWith(framed(request, CheckMethod::Bcc));
    };
    while (!isSoundNext(freshTransaction())) {
    }
    QCOMPARE(diagnose(line, settings, [](const Probe&) {}).finding, Finding::Bcc);
}

// Catches: a line that is lost half-way, or can't be opened at all, told as silence.
void TestDiagnosis::lostLines()
{
    FakeLine line(controllerAt(1), "300,NONE,8,1", "");
    DiagnosisSettings settings = quickSettings();
    const auto unplug = [&line](const Probe& probe) { line.isLost = probe.line.baudRate == 4800; };
    QCOMPARE(verdictOf(diagnose(line, settings, unplug), settings), QString("unplugged"));
    settings.line.baudRate = 115200;
    const Diagnosis diagnosis = diagnose(line, settings, [](const Probe&) {});
    QCOMPARE(diagnosis.finding, Finding::PortFault);
    QCOMPARE(diagnosis.fault, QString("the device does not support it"));
}

// Catches: a search that begins elsewhere than where most controllers are found, or
// that asks stations one by one on a line where nobody acknowledges.
void TestDiagnosis::triesTheUsualFirst()
{
    FakeLine line(NOBODY, "19200,NONE,8,1", "");
    DiagnosisSettings settings = quickSettings();
    settings.line.baudRate = 1200;
    QStringList asked;
    diagnose(line, settings, [&asked](const Probe& probe) {
        asked << probe.line.toText() + QString(" %1").arg(probe.station);
    });
    QCOMPARE(asked.mid(0, 5).join(' '),
             QString("1200,NONE,8,1 1 1200,NONE,8,1 1 19200,NONE,8,1 1 9600,NONE,8,1 1 "
                     "38400,NONE,8,1 1"));
    QCOMPARE(asked.size(), 19); // 20 settings, without two that the device lacks, the first twice
}

// Catches: a mode, forces or an error told as another.
void TestDiagnosis::tellsMode()
{
    const std::tuple<const char*, QString> rows[] = {
        {"0000 0100", "mode PROGRAM (remote)"},
        {"0000 0600", "mode RUN (remote)"},
        {"0000 2700", "mode TEST (continuous), forces enabled"},
        {"0000 4800", "mode TEST (single scan), forces installed"},
        {"1200 1E20", "mode RUN (switch), major error 0012h"},
        {"0000 1F00", "mode 1Fh"},
    };
    for (const auto& [words, text] : rows) {
        const QByteArray status = hex("00EE340030") + "1763-L16BWA" + hex(words) + hex("0A0B0800");
        const auto controller = controllerStatus(status);
        QVERIFY(controller);
        ROW_COMPARE(words, modeText(*controller), text);
        QCOMPARE(controller->programId, 0x0B0A);
        QVERIFY(!controllerStatus(status.left(22)));
    }
}

// Catches: a frame or a check that controllers don't know. Checks from publication
// 1770-6.5.16's example and from a bitwise CRC.
void TestDiagnosis::frames()
{
    const QByteArray message = hex("090001000100110002");
    QCOMPARE(framed(message, CheckMethod::Bcc).toHex(), QByteArray("10020900010001001100021003e2"));
    QCOMPARE(framed(message, CheckMethod::Crc).toHex(),
             QByteArray("10020900010001001100021003546f"));
    QCOMPARE(framed(hex("10F0"), CheckMethod::Bcc).toHex(), QByteArray("10021010f0100300"));
    QCOMPARE(echoRequest({1, 0, 0x1234}, "x").toHex(), QByteArray("01000600341200") + "78");
    QCOMPARE(statusRequest({1, 0, 0x1234}).toHex(), QByteArray("01000600341203"));
}

QTEST_GUILESS_MAIN(TestDiagnosis)
#include "tst_diagnosis.moc"
