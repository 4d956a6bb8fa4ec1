#include <QtTest>

#include "host/tracer.h"
#include "support/bytes.h"
#include "support/rows.h"
#include "support/scriptedport.h"

using namespace host;

namespace {

QByteArray textOf(const LineToken& token)
{
    static const char* const kinds[] = {"frame ", "ack", "nak", "enq", "noise ", "silence"};
    static const char* const checks[] = {" cut off", " crc", " bcc", " wrong crc", " wrong bcc"};
    QByteArray text = kinds[static_cast<int>(token.kind)];
    if (token.kind == LineToken::Kind::Frame)
        text += token.message.toHex() + checks[static_cast<int>(token.check)];
    if (token.kind == LineToken::Kind::Noise)
        text += token.raw.toHex();
    if (token.isEmbedded)
        text += " inside";
    return token.hasLoneDle ? text + " lone" : text;
}

QByteArray tokensIn(const QByteArray& bytes, int step)
{
    QByteArray texts;
    LineReader reader([&](const LineToken& token) { texts += textOf(token) + ", "; });
    for (int at = 0; at < bytes.size(); at += step)
        reader.take(bytes.mid(at, step));
    reader.finish();
    return texts;
}

const char* const CRC_FRAME = "1002080906000204031003 9848";
const char* const BCC_FRAME = "10020900010001001100021003 E2";

}

/// From a port's bytes to tokens.
class TestTraffic : public QObject
{
    Q_OBJECT

private slots:
    void takesBytesApart();
    void boundsWhatItKeeps();
    void tellsWhatADriverDoes();
    void putsPiecesTogether();
};

// Catches: a check misjudged, and damage that hides or swallows what follows it. The
// frames of the first rows are examples of publication 1770-6.5.16, the CRC apart.
void TestTraffic::takesBytesApart()
{
    const QByteArray crc = CRC_FRAME;
    const QByteArray bcc = BCC_FRAME;
    const QByteArray crcText = "frame 08090600020403 crc, ";
    const QByteArray bccText = "frame 090001000100110002 bcc, ";
    const std::tuple<const char*, QByteArray, QByteArray> rows[] = {
        {"CRC", crc, crcText},
        {"BCC", bcc, bccText},
        {"answers", "1006 1015 1005", "ack, nak, enq, "},
        {"doubled DLE", "1002 101000 1003 41C4", "frame 1000 crc, "},
        {"wrong CRC", "10020809060002040310039849" + crc,
         "frame 08090600020403 wrong crc, " + crcText},
        {"wrong BCC", bcc + "10020900010001001100021003E31006",
         bccText + "frame 090001000100110002 wrong bcc, ack, "},
        {"BCC by chance", crc + "100200014F0001001003AFFF" + crc,
         crcText + "frame 00014f000100 wrong crc, " + crcText},
        {"BCC after CRC", crc + bcc, crcText + bccText},
        {"CRC after BCC", bcc + crc, bccText + crcText},
        {"CRC that begins as the BCC", "100200014F007A021003 34A7", "frame 00014f007a02 crc, "},
        {"BCC that begins as the CRC", "100200014F007A021003 34 1006",
         "frame 00014f007a02 bcc, ack, "},
        {"embedded answers", "10020809 1006 06000204 1015 0310039848",
         "ack inside, nak inside, " + crcText},
        {"noise before", "FE7A" + crc, "noise fe7a, " + crcText},
        {"half a pair before", "10" + crc, "noise 10, " + crcText},
        {"unknown pair", "1041 1006", "noise 1041, ack, "},
        {"new frame in a frame", "10020809" + crc, "frame 0809 cut off, " + crcText},
        {"ENQ in a frame", "10020809 1005" + crc, "frame 0809 cut off, enq, " + crcText},
        {"lone DLE", "1002081041 1003 73F4" + crc, "frame 081041 crc lone, " + crcText},
        {"end in the data", "1002080910", "frame 0809 cut off, "},
        {"end in the check", "1002080906000204031003 98", "frame 08090600020403 cut off, "},
        {"end before a BCC", "1002080906000204031003", "frame 08090600020403 cut off, "},
    };
    for (const auto& [name, bytes, tokens] : rows) {
        ROW_COMPARE(name, tokensIn(QByteArray::fromHex(bytes), 1000).constData(),
                    tokens.constData());
        ROW_COMPARE(name, tokensIn(QByteArray::fromHex(bytes), 1).constData(), tokens.constData());
    }
}

// Catches: a line that babbles and fills the memory.
void TestTraffic::boundsWhatItKeeps()
{
    const auto sizes = [](const QByteArray& bytes) {
        QByteArray text;
        LineReader reader(
            [&](const LineToken& token) { text += QByteArray::number(token.raw.size()) + ' '; });
        reader.take(bytes);
        reader.finish();
        return text;
    };
    QCOMPARE(sizes(QByteArray(600, 'x')), QByteArray("256 256 88 "));
    QCOMPARE(sizes(hex("1002") + QByteArray(1100, 'x') + hex("1006")), QByteArray("1024 78 2 "));
}

// Catches: a call that is not handed on, and bytes that nobody hears of.
void TestTraffic::tellsWhatADriverDoes()
{
    ScriptedPort port;
    port.answer(QList<QByteArray>{hex("1006"), hex("4142434445")});
    QByteArray heard;
    Tracer tracer(port, [&](const LineEvent& event) {
        heard += "SR-D"[static_cast<int>(event.kind)] + event.bytes.toHex() + ' ';
    });
    const QByteArray frame = hex("10020000");
    unsigned char buffer[4];
    tracer.sendData(bytesOf(frame), sizeOf(frame));
    QCOMPARE(tracer.receiveData(buffer, 4), 2);
    port.pendingRounds = 3;
    tracer.setParameter(PORT_PARAM_CLEAR_INPUT, QVariant(0));
    port.boast = 9;
    QCOMPARE(tracer.receiveData(buffer, 1), 9);
    QCOMPARE(heard, QByteArray("S10020000 R1006 - D414243 R44 "));
    QCOMPARE(port.calls.join(", "), QString("send 10020000, receive 4: 1006, get 13, "
                                            "receive 3: 414243, set 12=0, receive 1: 44"));
}

// Catches: a frame that falls apart when the driver throws its pieces away, one that is
// kept over a wait in vain, and a wrong stamp on either.
void TestTraffic::putsPiecesTogether()
{
    QByteArray seen;
    TrafficReader reader([&](const Sighting& sighting) {
        seen += (sighting.direction == Direction::Sent ? '>' : '<')
                + QByteArray::number(qint64(sighting.time.time_since_epoch().count()))
                + (sighting.isDiscarded ? " discarded " : " ") + textOf(sighting.token) + ", ";
    });
    const QByteArray frame = hex(CRC_FRAME);
    auto take = [&, now = 0](LineEvent::Kind kind, const QByteArray& bytes = {}) mutable {
        reader.take({kind, TimePoint(std::chrono::microseconds(++now)), bytes});
    };
    take(LineEvent::Kind::Sent, frame);
    take(LineEvent::Kind::Received, frame.left(5));
    take(LineEvent::Kind::Sent, hex("1006"));
    take(LineEvent::Kind::Discarded, frame.mid(5));
    take(LineEvent::Kind::Received, frame.left(5));
    take(LineEvent::Kind::Silence);
    take(LineEvent::Kind::Discarded, frame.left(4));
    take(LineEvent::Kind::Discarded);
    take(LineEvent::Kind::Sent, frame);
    QCOMPARE(seen, QByteArray(">1 frame 08090600020403 crc, >3 ack, "
                              "<4 discarded frame 08090600020403 crc, <5 frame 080906 cut off, "
                              "<6 silence, <7 discarded frame 0809 cut off, "
                              ">9 frame 08090600020403 crc, "));
}

QTEST_GUILESS_MAIN(TestTraffic)
#include "tst_traffic.moc"
