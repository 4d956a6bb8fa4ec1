#include <QtTest>

#include <random>

#include "drivers/df1/framing.h"
#include "simulator/station.h"

using namespace simulator;

namespace {

// Frames by name. The two-digit number is the TNS's low byte, and the number
// behind the comma of an ANSWER what the handler counts: its executions so far.
// Checks come from a bitwise CRC outside this project.
const std::pair<const char*, const char*> names[] = {
    {"READ34", "10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 89 34"},
    {"READ35", "10 02 01 00 0F 00 35 12 A2 02 07 89 00 00 10 03 84 A4"},
    {"READ36", "10 02 01 00 0F 00 36 12 A2 02 07 89 00 00 10 03 90 54"},
    {"READ37", "10 02 01 00 0F 00 37 12 A2 02 07 89 00 00 10 03 9D C4"},
    {"READ38", "10 02 01 00 0F 00 38 12 A2 02 07 89 00 00 10 03 DC 34"},
    {"ANSWER34,1", "10 02 00 01 4F 00 34 12 01 10 03 F1 5B"},
    {"ANSWER35,1", "10 02 00 01 4F 00 35 12 01 10 03 F0 A7"},
    {"ANSWER35,2", "10 02 00 01 4F 00 35 12 02 10 03 F0 57"},
    {"ANSWER36,3", "10 02 00 01 4F 00 36 12 03 10 03 F1 83"},
    {"STX", "10 02"},
    {"ENQ", "10 05"},
    {"ACK", "10 06"},
    {"NAK", "10 15"},
};

// One conversation with a station, told in five words, steps apart by ';':
//   host X...     the host sends names or hex bytes
//   expect X...   all that the station has sent since the last expect
//   advance MS    time passes
//   quiet         the station has sent nothing
//   counted N...  its counters, in their order, without zeros at the end
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
        for (const QString& step : script.split(';')) {
            const QStringList words = step.simplified().split(' ');
            const QString verb = words.first();
            const QStringList operands = words.mid(1);
            if (verb == "host")
                host(bytesOf(operands));
            else if (verb == "advance")
                advance(operands.first().toInt());
            else if (verb == "counted" && operands.join(' ') == counted())
                continue;
            else if (verb == "counted")
                return step.simplified() + ": " + counted();
            else if ((verb != "expect" && verb != "quiet") || bytesOf(operands) != m_sent)
                return step.simplified() + ": " + m_sent.toHex(' ');
            else
                m_sent.clear();
        }
        return QString();
    }

    void host(const QByteArray& bytes)
    {
        const int size = static_cast<int>(bytes.size());
        for (int at = 0; at < size; at += m_chunk)
            m_sent += m_station.receive(bytes.mid(at, m_chunk), m_now);
    }

    int executions() const { return m_executions; }

private:
    static QByteArray bytesOf(const QStringList& operands)
    {
        QString text = operands.join(' ');
        for (const auto& [name, bytes] : names)
            text.replace(name, bytes);
        return QByteArray::fromHex(text.toLatin1());
    }

    QString counted() const
    {
        const LinkCounters& link = m_station.counters();
        QStringList counts;
        for (const int count :
             {link.sent, link.received, link.undelivered, link.enqsSent, link.naksReceived,
              link.enqsReceived, link.badMessages, link.noMemory, link.duplicates})
            counts << QString::number(count);
        while (!counts.isEmpty() && counts.last() == "0")
            counts.removeLast();
        return counts.join(' ');
    }

    QByteArray execute(const QByteArray& request)
    {
        QByteArray reply = request.left(6);
        std::swap(*reply.begin(), *(reply.begin() + 1));
        reply[2] = static_cast<char>(reply.at(2) | 0x40);
        return reply + static_cast<char>(++m_executions);
    }

    void advance(qint64 milliseconds)
    {
        const qint64 end = m_now + milliseconds;
        while (m_station.deadline() && *m_station.deadline() <= end) {
            m_now = *m_station.deadline();
            m_sent += m_station.elapse(m_now);
        }
        m_now = end;
        m_sent += m_station.elapse(m_now);
    }

    int m_chunk;
    int m_executions = 0;
    qint64 m_now = 5000;
    QByteArray m_sent;
    Station m_station;
};

StationSettings settingsOf(int station, CheckMethod check)
{
    StationSettings settings;
    settings.station = static_cast<quint8>(station);
    settings.check = check;
    return settings;
}

}

class TestStation : public QObject
{
    Q_OBJECT

private slots:
    void conversations_data();
    void conversations();
    void settingsAreUsed();
    void messageSizes_data();
    void messageSizes();
    void endlessFrame();
    void understandsAgainAfterNoise_data();
    void understandsAgainAfterNoise();
};

void TestStation::conversations_data()
{
    QTest::addColumn<int>("station");
    QTest::addColumn<bool>("bcc");
    QTest::addColumn<QString>("script");
    const auto row = [](const char* name, const char* script) {
        QTest::newRow(name) << 1 << false << QString(script);
    };
    const auto bccRow = [](const char* name, const char* script) {
        QTest::newRow(name) << 1 << true << QString(script);
    };

    // The messages and checks of the first four are examples of 1770-6.5.16.
    QTest::newRow("diagnostic request") << 8 << false
                                        << "host 10 02 08 09 06 00 02 04 03 10 03 98 48;"
                                           "expect ACK 10 02 09 08 46 00 02 04 01 10 03 46 E4";
    QTest::newRow("diagnostic request, BCC") << 8 << true
                                             << "host 10 02 08 09 06 00 02 04 03 10 03 E0;"
                                                "expect ACK 10 02 09 08 46 00 02 04 01 10 03 A2";
    QTest::newRow("unprotected read") << 9 << false
                                      << "host 10 02 09 00 01 00 01 00 11 00 02 10 03 54 6F;"
                                         "expect ACK 10 02 00 09 41 00 01 00 01 10 03 D6 7C";
    QTest::newRow("unprotected read, BCC") << 9 << true
                                           << "host 10 02 09 00 01 00 01 00 11 00 02 10 03 E2;"
                                              "expect ACK 10 02 00 09 41 00 01 00 01 10 03 B4";
    row("typed read", "host READ34; expect ACK ANSWER34,1");
    bccRow("typed read, BCC", "host 10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 76;"
                              "expect ACK 10 02 00 01 4F 00 34 12 01 10 03 69");
    row("doubled DLEs both ways", "host 10 02 01 00 0F 00 10 10 10 10 A2 10 03 FD 57;"
                                  "expect ACK 10 02 00 01 4F 00 10 10 10 10 01 10 03 5A 6B");
    row("check ends in 10 02", "host 10 02 01 00 0F 00 0A 4C 10 03 10 02;"
                               "expect ACK 10 02 00 01 4F 00 0A 4C 01 10 03 9D 61; host ACK ENQ;"
                               "expect ACK");
    bccRow("check is 10", "host 10 02 01 00 0F 00 E0 00 10 03 10;"
                          "expect ACK 10 02 00 01 4F 00 E0 00 01 10 03 CF; host ACK ENQ;"
                          "expect ACK");

    row("wrong check", "host 10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 89 35; expect NAK");
    row("check bytes swapped",
        "host 10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 34 89; expect NAK");
    row("a bit flipped", "host 10 02 01 00 0F 00 34 12 A2 02 07 89 01 00 10 03 89 34; expect NAK");
    row("a byte lost", "host 10 02 01 00 0F 00 34 12 A2 02 07 89 00 10 03 89 34; expect NAK");
    bccRow("wrong BCC", "host 10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 77; expect NAK");
    row("five bytes", "host 10 02 01 00 0F 00 34 10 03 54 04; expect NAK");
    row("empty frame", "host 10 02 10 03 40 01; expect NAK");
    row("lone DLE inside",
        "host 10 02 01 00 10 41; expect NAK; host READ34; expect ACK ANSWER34,1");
    row("ENQ inside", "host 10 02 01 00 ENQ; expect NAK; host READ34; expect ACK ANSWER34,1");
    row("frame broken off", "host 10 02 01 00 0F; quiet; host READ34; expect NAK ACK ANSWER34,1");
    row("two frames at once", "host READ34 ACK READ35; expect ACK ANSWER34,1 ACK ANSWER35,2");

    row("ENQ at first", "host ENQ; expect NAK");
    row("ENQ after ACK", "host READ34 ACK ENQ; expect ACK ANSWER34,1 ACK");
    row("ENQ after NAK", "host READ34 ACK STX 10 41 ENQ; expect ACK ANSWER34,1 NAK NAK");
    row("ENQ after noise", "host READ34 ACK 41 ENQ; expect ACK ANSWER34,1 NAK");
    row("ENQ after a stray ETX", "host READ34 ACK 10 03 ENQ; expect ACK ANSWER34,1 NAK");
    row("ENQ twice", "host ENQ ENQ; expect NAK NAK");
    row("noise alone", "host 41 10 10 42 10 03 FF; quiet");
    row("answers to nothing", "host ACK NAK ACK; quiet; advance 9000; quiet");

    row("duplicate", "host READ34; expect ACK ANSWER34,1; host ACK READ34; expect ACK;"
                     "host READ35; expect ACK ANSWER35,2");
    row("duplicate of an older one", "host READ34 ACK READ35 ACK READ34 ACK; expect ACK ANSWER34,1"
                                     " ACK ANSWER35,2 ACK 10 02 00 01 4F 00 34 12 03 10 03 F0 3B");
    row("repeated after damage",
        "host 10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 89 35 READ34;"
        "expect NAK ACK ANSWER34,1");
    row("another station", "host 10 02 02 00 0F 00 34 12 A2 02 07 89 00 00 10 03 8C F7; expect ACK;"
                           "host READ35; expect ACK ANSWER35,1");

    row("ACK ends the wait", "host READ34 ACK; expect ACK ANSWER34,1; advance 9000; quiet");
    row("ACK inside a frame", "host READ34; expect ACK ANSWER34,1; host 10 02 01 00 0F ACK 00 35 12"
                              " A2 02 07 89 00 00 10 03 84 A4; expect ACK ANSWER35,2");
    row("NAK inside a frame", "host READ34; expect ACK ANSWER34,1; host 10 02 01 00 0F NAK;"
                              "expect ANSWER34,1; host 00 35 12 A2 02 07 89 00 00 10 03 84 A4 ACK;"
                              "expect ACK ANSWER35,2");
    row("NAK three times and once more",
        "host READ34; expect ACK ANSWER34,1; host NAK; expect ANSWER34,1; host NAK;"
        "expect ANSWER34,1; host NAK; expect ANSWER34,1; host NAK; quiet; host NAK; quiet;"
        "advance 9000; quiet; host READ35; expect ACK ANSWER35,2");
    row("time-out", "host READ34; expect ACK ANSWER34,1; advance 999; quiet; advance 1; expect ENQ;"
                    "advance 999; quiet; advance 1; expect ENQ; advance 1000; expect ENQ;"
                    "advance 9000; quiet; host NAK; quiet; host READ35; expect ACK ANSWER35,2");
    row("NAK to the enquiry starts the wait anew",
        "host READ34; expect ACK ANSWER34,1; advance 1500; expect ENQ; host NAK; expect ANSWER34,1;"
        "advance 999; quiet; advance 1; expect ENQ; host ACK; advance 9000; quiet");
    row("retries are counted per reply",
        "host READ34 NAK NAK; expect ACK ANSWER34,1 ANSWER34,1 ANSWER34,1; advance 2000;"
        "expect ENQ ENQ; host ACK READ35; expect ACK ANSWER35,2; host NAK NAK NAK;"
        "expect ANSWER35,2 ANSWER35,2 ANSWER35,2; advance 9000; expect ENQ ENQ ENQ");
    row("request while a reply waits",
        "host READ34; expect ACK ANSWER34,1; host READ35; expect ACK;"
        "advance 1000; expect ENQ; host ACK; expect ANSWER35,2;"
        "host ACK; advance 9000; quiet");
    row("dropped reply makes way", "host READ34 READ35; expect ACK ANSWER34,1 ACK; advance 4000;"
                                   "expect ENQ ENQ ENQ ANSWER35,2");
    row("no room", "host READ34 READ35 READ36 READ37; expect ACK ANSWER34,1 ACK ACK ACK;"
                   "host READ38; expect NAK; host ENQ; expect NAK; host ACK; expect ANSWER35,2;"
                   "host READ38; expect ACK; host ACK; expect ANSWER36,3");

    row("counts a smooth talk", "counted; host READ34 ACK READ35 ACK; counted 2 2; host ACK 41;"
                                "advance 9000; counted 2 2");
    row("counts damage", "host 10 02 01 00 0F 00 34 10 03 54 04 10 02 10 41 10 02 ENQ;"
                         "counted 0 0 0 0 0 0 3");
    row("counts stations and duplicates", "host 10 02 02 00 0F 00 34 12 A2 02 07 89 00 00 10 03 8C"
                                          " F7; counted 0 1; host READ35 READ35 READ35;"
                                          "counted 1 2 0 0 0 0 0 0 2");
    row("counts NAKs and what they drop",
        "host NAK READ34 NAK NAK NAK; counted 1 1 0 0 4; host NAK; counted 1 1 1 0 5");
    row("counts ENQs and what they drop", "host ENQ ENQ READ34; advance 3000; counted 1 1 0 3 0 2;"
                                          "advance 1000; counted 1 1 1 3 0 2");
    row("counts what finds no room", "host READ34 READ35 READ36 READ37 READ38 READ38;"
                                     "counted 1 4 0 0 0 0 0 2; host ACK ACK ACK ACK;"
                                     "counted 4 4 0 0 0 0 0 2");
}

// Catches: wrong coverage of a check, a wrong answer or retry count, a request run
// twice, a counter that stands still or counts something else, and state lost where the arriving
// bytes are cut.
void TestStation::conversations()
{
    QFETCH(int, station);
    QFETCH(bool, bcc);
    QFETCH(QString, script);
    const auto settings = settingsOf(station, bcc ? CheckMethod::Bcc : CheckMethod::Crc);
    for (const int chunk : {1000, 1, 2, 3, 5})
        QCOMPARE(Line(settings, chunk).play(script), QString());
}

// Catches: time-out and retry counts that are not the settings'.
void TestStation::settingsAreUsed()
{
    StationSettings settings;
    settings.ackTimeoutMs = 20;
    settings.nakRetries = 1;
    settings.enqRetries = 0;
    QCOMPARE(Line(settings, 1)
                 .play("host READ34; expect ACK ANSWER34,1; host NAK;"
                       "expect ANSWER34,1; host NAK; quiet; host READ35;"
                       "expect ACK ANSWER35,2; advance 20; quiet; host NAK; quiet"),
             QString());
}

void TestStation::messageSizes_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("taken");
    QTest::newRow("too short") << 5 << false;
    QTest::newRow("shortest") << 6 << true;
    QTest::newRow("longest") << 256 << true;
    QTest::newRow("too long") << 257 << false;
    QTest::newRow("much too long") << 100000 << false;
}

// Catches: a size limit that is off by one, an overlong frame let through cut.
void TestStation::messageSizes()
{
    QFETCH(int, size);
    QFETCH(bool, taken);
    QByteArray frame = QByteArray::fromHex("01000F00341200").leftJustified(size, '\x10', true);
    DF1ToDataLinkLayerPacket(frame);
    Line line({}, 64);
    line.host(frame);
    QCOMPARE(line.executions(), taken ? 1 : 0);
    QCOMPARE(line.play(taken ? "host ENQ ACK" : "expect NAK"), QString());
}

// Catches: a buffer that grows with a frame that never ends, a station stuck in it, and
// an overlong frame taken for what was kept of it.
void TestStation::endlessFrame()
{
    FrameDecoder decoder(CheckMethod::Crc);
    decoder.take(symbol::DLE);
    decoder.take(symbol::STX);
    for (int i = 0; i < 1000000; ++i)
        QVERIFY(decoder.take(static_cast<char>(i % 16)) == FrameDecoder::Event::Nothing);
    QCOMPARE(static_cast<int>(decoder.message().size()), FrameDecoder::longestMessage);

    // Closed with the check of what was kept of it.
    QByteArray cut = QByteArray::fromHex("01000F00341200").leftJustified(256, 'x');
    DF1ToDataLinkLayerPacket(cut);
    Line line({}, 1000);
    line.host(cut.insert(cut.size() - 4, "xyz"));
    QCOMPARE(line.play("expect NAK"), QString());

    line.host(QByteArray::fromHex("1002") + QByteArray(1000000, '\x01'));
    QCOMPARE(line.play("quiet; host READ34; expect NAK ACK ANSWER34,1"), QString());
}

void TestStation::understandsAgainAfterNoise_data()
{
    QTest::addColumn<QByteArray>("alphabet"); // of the noise; empty: all bytes
    QTest::newRow("any bytes") << QByteArray();
    QTest::newRow("control symbols") << QByteArray::fromHex("101010020203051506FF41");
}

// Catches: a crash on any bytes, and a state from which a sound request does not get
// through at its first or second sending.
void TestStation::understandsAgainAfterNoise()
{
    QFETCH(QByteArray, alphabet);
    std::mt19937 random(2026);
    Line line({}, 1000);
    for (quint16 tns = 0; tns < 4000; ++tns) {
        for (auto chunks = random() % 5; chunks > 0; --chunks) {
            QByteArray noise;
            for (auto left = random() % 50; left > 0; --left)
                noise += alphabet.isEmpty() ? static_cast<char>(random())
                                            : alphabet.at(static_cast<int>(random() % 11));
            line.host(noise);
        }
        QByteArray request = QByteArray::fromHex("01000F000000A20207890000");
        request[4] = static_cast<char>(tns);
        request[5] = static_cast<char>(tns >> 8);
        DF1ToDataLinkLayerPacket(request);
        line.host(request);
        if (line.executions() == tns)
            line.host(request);
        QCOMPARE(line.executions(), tns + 1);
        line.host(QByteArray::fromHex("1006"));
    }
}

QTEST_APPLESS_MAIN(TestStation)
#include "tst_station.moc"
