#include <QRegularExpression>
#include <QtTest>

#include <random>

#include "drivers/df1/framing.h"
#include "simulator/station.h"
#include "support/bytes.h"
#include "support/named.h"

using namespace simulator;

namespace {

// Frames by name. The two-digit number is the TNS's low byte, and the number
// behind the point of an answer what the handler counts: its executions so far.
// Checks come from a bitwise CRC outside this project.
const std::pair<const char*, const char*> names[] = {
    {"R34", "10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 89 34"},
    {"R35", "10 02 01 00 0F 00 35 12 A2 02 07 89 00 00 10 03 84 A4"},
    {"R36", "10 02 01 00 0F 00 36 12 A2 02 07 89 00 00 10 03 90 54"},
    {"R37", "10 02 01 00 0F 00 37 12 A2 02 07 89 00 00 10 03 9D C4"},
    {"R38", "10 02 01 00 0F 00 38 12 A2 02 07 89 00 00 10 03 DC 34"},
    {"A34.1", "10 02 00 01 4F 00 34 12 01 10 03 F1 5B"},
    {"A35.1", "10 02 00 01 4F 00 35 12 01 10 03 F0 A7"},
    {"A35.2", "10 02 00 01 4F 00 35 12 02 10 03 F0 57"},
    {"A36.3", "10 02 00 01 4F 00 36 12 03 10 03 F1 83"},
    {"A34.3", "10 02 00 01 4F 00 34 12 03 10 03 F0 3B"},
    {"ENQ", "10 05"},
    {"ACK", "10 06"},
    {"NAK", "10 15"},
};

QByteArray bytesOf(QString text)
{
    for (const auto& [name, bytes] : names)
        text.replace(name, bytes);
    return QByteArray::fromHex(text.toLatin1());
}

// A conversation with a station, told in steps:
//   < X...   the host sends names or hex bytes
//   > X...   all that the station has sent since the last >
//   + MS     time passes
//   # N...   the station's nine counters, in their order
class Line
{
public:
    Line(const StationSettings& settings, int chunk)
        : m_chunk(chunk)
        , m_station(settings, [this](const QByteArray& request) { return execute(request); })
    {}

    // The first step that fails, with what came instead; empty when all hold.
    QString play(const QString& script)
    {
        for (const QString& step : script.split(QRegularExpression(" (?=[<>+#])"))) {
            const QString operands = step.mid(2);
            const QByteArray came = step.startsWith('>') ? std::exchange(m_sent, {}) : m_sent;
            if (step.startsWith('<'))
                host(bytesOf(operands));
            else if (step.startsWith('+'))
                advance(operands.toInt());
            else if (step.startsWith('#') && operands != counted())
                return step + ": " + counted();
            else if (step.startsWith('>') && bytesOf(operands) != came)
                return step + ": " + came.toHex(' ');
        }
        return QString();
    }

    void host(const QByteArray& bytes)
    {
        for (int at = 0; at < static_cast<int>(bytes.size()); at += m_chunk)
            m_sent += m_station.receive(bytes.mid(at, m_chunk), m_now);
    }

    int executions() const { return m_executions; }

private:
    QString counted() const
    {
        const LinkCounters& link = m_station.counters();
        QStringList counts;
        for (const int count :
             {link.sent, link.received, link.undelivered, link.enqsSent, link.naksReceived,
              link.enqsReceived, link.badMessages, link.noMemory, link.duplicates})
            counts << QString::number(count);
        return counts.join(' ');
    }

    QByteArray execute(const QByteArray& request)
    {
        const QByteArray swapped = request.mid(1, 1) + request.left(1);
        return swapped + static_cast<char>(request.at(2) | 0x40) + request.mid(3, 3)
               + static_cast<char>(++m_executions);
    }

    void advance(qint64 milliseconds)
    {
        const qint64 end = m_now + milliseconds;
        for (; m_station.deadline() && *m_station.deadline() <= end;
             m_sent += m_station.elapse(m_now))
            m_now = *m_station.deadline();
        m_now = end;
        m_sent += m_station.elapse(m_now);
    }

    int m_chunk;
    int m_executions = 0;
    qint64 m_now = 5000;
    QByteArray m_sent;
    Station m_station;
};

}

class TestStation : public QObject
{
    Q_OBJECT

private slots:
    void conversations();
    void messageSizes();
    void understandsAgainAfterNoise();
};

// Catches: wrong coverage of a check, a wrong answer or retry count, settings not used, a
// request run twice, a counter that stands still or counts something else, and state lost
// where the arriving bytes are cut.
void TestStation::conversations()
{
    const struct
    {
        const char* name;
        const char* script;
        StationSettings settings = {};
    } rows[] = {
        // The messages and checks of the first two are examples of 1770-6.5.16.
        {"diagnostic request",
         "< 10 02 08 09 06 00 02 04 03 10 03 98 48 > ACK 10 02 09 08 46 00 02 04 01 10 03 46 E4",
         {8}},
        {"diagnostic request, BCC",
         "< 10 02 08 09 06 00 02 04 03 10 03 E0 > ACK 10 02 09 08 46 00 02 04 01 10 03 A2",
         {8, CheckMethod::Bcc}},
        {"doubled DLEs both ways", "< 10 02 01 00 0F 00 10 10 10 10 A2 10 03 FD 57"
                                   " > ACK 10 02 00 01 4F 00 10 10 10 10 01 10 03 5A 6B"},
        {"check ends in 10 02", "< 10 02 01 00 0F 00 0A 4C 10 03 10 02"
                                " > ACK 10 02 00 01 4F 00 0A 4C 01 10 03 9D 61 < ACK ENQ > ACK"},
        {"check is 10",
         "< 10 02 01 00 0F 00 E0 00 10 03 10"
         " > ACK 10 02 00 01 4F 00 E0 00 01 10 03 CF < ACK ENQ > ACK",
         {1, CheckMethod::Bcc}},
        {"repeated", "< 10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 89 35 R34 > NAK ACK A34.1"},
        {"stray symbols inside",
         "< 10 02 01 00 10 41 > NAK < 10 02 01 00 ENQ > NAK < R34 > ACK A34.1"},
        {"frame broken off", "< 10 02 01 00 0F > < R34 > NAK ACK A34.1"},
        {"five bytes", "< 10 02 01 00 0F 00 34 10 03 54 04 > NAK # 0 0 0 0 0 0 1 0 0"},
        {"noise", "< 41 10 10 42 10 03 FF ACK NAK ACK > + 9000 >"},
        {"ENQ asks for the last answer",
         "< ENQ ENQ > NAK NAK # 0 0 0 0 0 2 0 0 0 < R34 ACK ENQ > ACK A34.1 ACK"
         " < 10 02 10 41 ENQ > NAK NAK"},
        {"ENQ after noise", "< R34 ACK 41 ENQ > ACK A34.1 NAK < R35 10 03 ENQ > ACK A35.2 NAK"},
        {"another station, and duplicates",
         "< 10 02 02 00 0F 00 34 12 A2 02 07 89 00 00 10 03 8C F7 > ACK # 0 1 0 0 0 0 0 0 0"
         " < R35 ACK R35 R35 > ACK A35.1 ACK ACK # 1 2 0 0 0 0 0 0 2"},
        {"same TNS, other SRC, then other CMD",
         "< R34 ACK 10 02 01 05 0F 00 34 12 A2 10 03 03 67 ACK"
         " > ACK A34.1 ACK 10 02 05 01 4F 00 34 12 02 10 03 31 94"
         " < 10 02 01 05 06 00 34 12 A2 10 03 03 FE > ACK 10 02 05 01 46 00 34 12 03 10 03 30 9D"},
        {"older one again", "< R34 ACK R35 ACK R34 ACK > ACK A34.1 ACK A35.2 ACK A34.3 + 9000 >"},
        {"ACK inside a frame",
         "< R34 > ACK A34.1 < 10 02 01 00 0F ACK 00 35 12 A2 02 07 89 00 00 10 03 84 A4 > ACK "
         "A35.2"},
        {"NAK inside a frame", "< R34 > ACK A34.1 < 10 02 01 00 0F NAK > A34.1"
                               " < 00 35 12 A2 02 07 89 00 00 10 03 84 A4 ACK > ACK A35.2"},
        {"NAK until the reply is dropped",
         "< R34 > ACK A34.1 < NAK > A34.1 < NAK > A34.1 < NAK > A34.1 # 1 1 0 0 3 0 0 0 0"
         " < NAK NAK > # 1 1 1 0 5 0 0 0 0 + 9000 > < R35 > ACK A35.2"},
        {"time-out until the reply is dropped",
         "< R34 > ACK A34.1 + 999 > + 1 > ENQ + 999 > + 1 > ENQ + 1000 > ENQ # 1 1 0 3 0 0 0 0 0"
         " + 1000 > # 1 1 1 3 0 0 0 0 0 + 9000 > < NAK > < R35 > ACK A35.2"},
        {"NAK to ENQ",
         "< R34 > ACK A34.1 + 1500 > ENQ < NAK > A34.1 + 999 > + 1 > ENQ < ACK + 9000 >"},
        {"retries are counted per reply",
         "< R34 NAK NAK > ACK A34.1 A34.1 A34.1 + 2000 > ENQ ENQ < ACK R35 > ACK A35.2"
         " < NAK NAK NAK > A35.2 A35.2 A35.2 + 9000 > ENQ ENQ ENQ"},
        {"request meanwhile",
         "< R34 > ACK A34.1 < R35 > ACK + 1000 > ENQ < ACK > A35.2 < ACK + 9000 >"},
        {"dropped reply makes way", "< R34 R35 > ACK A34.1 ACK + 4000 > ENQ ENQ ENQ A35.2"},
        {"no room",
         "< R34 R35 R36 R37 > ACK A34.1 ACK ACK ACK < R38 > NAK # 1 4 0 0 0 0 0 1 0 < ENQ > NAK"
         " < ACK > A35.2 < R38 > ACK < ACK > A36.3 # 3 5 0 0 0 1 0 1 0"},
        {"settings are used",
         "< R34 NAK NAK > ACK A34.1 A34.1 < R35 > ACK A35.2 + 20 > < NAK >",
         {1, CheckMethod::Crc, 20, 1, 0}},
    };
    for (const auto& [name, script, settings] : rows) {
        for (const int chunk : {1000, 1, 2, 3, 5})
            QCOMPARE(named(name, Line(settings, chunk).play(script)), named(name, QString()));
    }
}

// Catches: a size limit that is off by one, an overlong frame let through cut, a buffer that
// grows with a frame that never ends, and a station stuck in it.
void TestStation::messageSizes()
{
    for (const int size : {6, 256, 257, 100000}) {
        QByteArray frame = hex("01000F00341200").leftJustified(size, '\x10', true);
        DF1ToDataLinkLayerPacket(frame);
        Line line({}, 64);
        line.host(frame);
        QCOMPARE(named(QString::number(size), line.play(size <= 256 ? "< ENQ ACK" : "> NAK")),
                 named(QString::number(size), QString()));
        QCOMPARE(line.executions(), size <= 256 ? 1 : 0);
    }

    // Closed with the check of what was kept of it.
    QByteArray cut = hex("01000F00341200").leftJustified(256, 'x');
    DF1ToDataLinkLayerPacket(cut);
    Line line({}, 1000);
    line.host(cut.insert(cut.size() - 4, "xyz"));
    QCOMPARE(line.play("> NAK < R34 > ACK A34.1"), QString());

    FrameDecoder decoder(CheckMethod::Crc);
    for (const char byte : hex("1002") + QByteArray(1000000, '\x01'))
        QVERIFY(decoder.take(byte) == FrameDecoder::Event::Nothing);
    QCOMPARE(static_cast<int>(decoder.message().size()), FrameDecoder::longestMessage);
}

// Catches: a crash on any bytes, and a state from which a sound request does not get
// through at its first or second sending.
void TestStation::understandsAgainAfterNoise()
{
    const QByteArray symbols = hex("101010020203051506FF41");
    std::mt19937 random(2026);
    Line line({}, 1000);
    for (quint16 tns = 0; tns < 8000; ++tns) {
        QByteArray noise;
        for (auto left = random() % 100; left > 0; --left)
            noise += tns % 2 == 0 ? static_cast<char>(random())
                                  : symbols.at(static_cast<int>(random() % 11));
        line.host(noise);
        QByteArray request = hex("01000F000000A20207890000");
        request[4] = static_cast<char>(tns);
        request[5] = static_cast<char>(tns >> 8);
        DF1ToDataLinkLayerPacket(request);
        line.host(request);
        if (line.executions() == tns)
            line.host(request);
        QCOMPARE(line.executions(), tns + 1);
        line.host(hex("1006"));
    }
}

QTEST_APPLESS_MAIN(TestStation)
#include "tst_station.moc"
