#include <QtTest>

#include "host/status.h"
#include "host/tracetext.h"
#include "support/frames.h"
#include "support/rows.h"

using namespace host;

namespace {

LineToken frameToken(const QByteArray& message)
{
    LineToken frame;
    LineReader reader([&](const LineToken& token) { frame = token; });
    reader.take(frameOf(message));
    return frame;
}

}

/// What goes over the line, in words, and traces that are read back.
class TestFrameText : public QObject
{
    Q_OBJECT

private slots:
    void messages();
    void statuses();
    void conversation();
    void tracesComeBack();
    void othersAreNoTraces();
    void hexadecimal();
};

// Catches: a field read from the wrong place, and a short message read past its end.
void TestFrameText::messages()
{
    const std::pair<const char*, const char*> rows[] = {
        {"01000F003412A20207890000",
         "protected typed logical read N7:0, 2 bytes; station 0 to 1, TNS 1234"},
        {"01000F000500A2060486FF2C0100",
         "protected typed logical read T4:300, 6 bytes; station 0 to 1, TNS 0005"},
        {"01000F000200AB02038500002000 2000", "protected typed logical masked write B3:0, 2 bytes, "
                                              "mask 0020, data 20 00; station 0 to 1, TNS 0002"},
        {"01000F000300AA0407890300 0A001400",
         "protected typed logical write N7:3, 4 bytes, data 0A 00 14 00; station 0 to 1, TNS 0003"},
        {"01000F000300AA020486FF2C0101 0A00",
         "protected typed logical write T4:300.PRE, 2 bytes, data 0A 00; station 0 to 1, TNS 0003"},
        {"01000F000300A20206880102",
         "protected typed logical read R6:1.POS, 2 bytes; station 0 to 1, TNS 0003"},
        {"01000F000300A254098D0000",
         "protected typed logical read ST9:0, 84 bytes; station 0 to 1, TNS 0003"},
        {"01000F000300A20207890003",
         "protected typed logical read N7:0.3, 2 bytes; station 0 to 1, TNS 0003"},
        {"01000F000300A20207A00001", "protected typed logical read file 7 of type A0, element 0, "
                                     "sub-element 1, 2 bytes; station 0 to 1, TNS 0003"},
        {"01000F000300A102078905", "protected typed logical read, two address fields N7:5, 2 "
                                   "bytes; station 0 to 1, TNS 0003"},
        {"01000F003412010000030006070A07",
         "word range read file 7, element 10, 7 bytes; station 0 to 1, TNS 1234"},
        {"01000F003412000000020006070A34127856", "word range write file 7, element 10, 4 bytes, "
                                                 "data 34 12 78 56; station 0 to 1, TNS 1234"},
        {"01000F003412260E070A0000003412",
         "read-modify-write, file 7, element 10 AND 0000 OR 1234; station 0 to 1, TNS 1234"},
        {"010006000100001122", "echo, data 11 22; station 0 to 1, TNS 0001"},
        {"01000F00010099AA", "command 0F function 99, data AA; station 0 to 1, TNS 0001"},
        {"010008000100AA", "command 08, data AA; station 0 to 1, TNS 0001"},
        {"01000F000100A2020789",
         "protected typed logical read, data 02 07 89; station 0 to 1, TNS 0001"},
        {"01000F000100", "command 0F; station 0 to 1, TNS 0001"},
        {"00014F0001003412", "reply to command 0F, data 34 12; station 1 to 0, TNS 0001"},
        {"00014F100100",
         "reply to command 0F: STS 10, illegal command or format; station 1 to 0, TNS 0001"},
        {"00014FF001000A", "reply to command 0F: STS F0 EXT STS 0A, size and address together are "
                           "too large; station 1 to 0, TNS 0001"},
        {"00014FF00100",
         "reply to command 0F: STS F0, an error that only EXT STS tells; station 1 to 0, TNS 0001"},
    };
    for (const auto& [bytes, text] : rows)
        ROW_COMPARE(bytes, textOf(*Message::parse(hex(bytes))), text);
    QVERIFY(!Message::parse(hex("01000F0001")));
}

// Catches: a status under another one's name, and half of a double one lost.
void TestFrameText::statuses()
{
    const std::tuple<Status, const char*, const char*> rows[] = {
        {{0x00, {}}, "success", "STS 00, success"},
        {{0x07, {}}, "offline", "STS 07, the station is offline"},
        {{0x70, {}}, "program-mode", "STS 70, the controller is in Program mode"},
        {{0x12, {}},
         "illegal-command",
         "STS 12, illegal command or format, and the link layer got no ACK"},
        {{0xF0, 0x1E}, "element-protected", "STS F0 EXT STS 1E, the element is protected"},
        {{0xF0, 0xEE}, "unknown", "STS F0 EXT STS EE, a status without a name"},
        {{0xD0, {}}, "unknown", "STS D0, a status without a name"},
    };
    for (const auto& [status, name, text] : rows) {
        ROW_COMPARE(text, wordsOf(status).name, name);
        ROW_COMPARE(text, printable(status), text);
    }
}

// Catches: a reply told with another request's address, and damage that is not told.
void TestFrameText::conversation()
{
    Narrator narrator;
    const auto end = [&](const LineToken& token) {
        return narrator.words(token).remove("protected typed logical ").remove("station ");
    };
    const LineToken request = frameToken(hex("01000F003412A20207890000"));
    QCOMPARE(end(request), QString("read N7:0, 2 bytes; 0 to 1, TNS 1234; CRC right"));
    end(frameToken(hex("01000F003512A20207890100")));
    QCOMPARE(end(frameToken(hex("00014F003412FF00"))),
             QString("reply to read N7:0, data FF 00; 1 to 0, TNS 1234; CRC right"));
    QCOMPARE(end(frameToken(hex("00024F003412FF00"))),
             QString("reply to command 0F, data FF 00; 2 to 0, TNS 1234; CRC right"));
    LineToken damaged = request;
    damaged.check = Check::WrongCrc;
    QVERIFY(end(damaged).endsWith("; CRC wrong, 89 34 would be right"));
    damaged.check = Check::WrongBcc;
    QVERIFY(end(damaged).endsWith("; BCC wrong, 76 would be right"));
    damaged.check = Check::None;
    damaged.message.truncate(5);
    QCOMPARE(end(damaged), QString("frame without a whole header; cut off"));
}

// Catches: a line of a trace that loses time, direction, bytes or marks on the way back.
void TestFrameText::tracesComeBack()
{
    const TimePoint time(std::chrono::microseconds(1773500966000042));
    Sighting ack{Direction::Received, time, {LineToken::Kind::Ack, hex("1006")}, true};
    ack.token.isEmbedded = true;
    const std::pair<Sighting, const char*> rows[] = {
        {ack, "2026-03-14T15:09:26.000042Z < ACK inside a frame (discarded) [10 06]"},
        {{Direction::Sent, time, frameToken(hex("01000F000100"))},
         "2026-03-14T15:09:26.000042Z > command 0F; station 0 to 1, TNS 0001; CRC right [10 02 01 "
         "00 0F 00 01 00 10 03 55 00]"},
        {{Direction::Received, time, {LineToken::Kind::Silence}},
         "2026-03-14T15:09:26.000042Z < silence, nothing more came in time"},
    };
    Narrator narrator;
    for (const auto& [sighting, line] : rows) {
        ROW_COMPARE(line, traceLine(sighting, narrator), line);
        const auto record = readTraceLine(line);
        QVERIFY2(record, line);
        ROW_COMPARE(line, record->bytes, sighting.token.raw);
        ROW_COMPARE(line, record->time.time_since_epoch().count(), time.time_since_epoch().count());
        ROW_COMPARE(line, record->direction == Direction::Sent,
                    sighting.direction == Direction::Sent);
        ROW_COMPARE(line, record->isDiscarded, sighting.isDiscarded);
        ROW_COMPARE(line, record->isEmbedded, sighting.token.isEmbedded);
    }
}

// Catches: a line cut short, or of something else, taken for a trace's.
void TestFrameText::othersAreNoTraces()
{
    for (const char* const line :
         {"", "1006", "2026-03-14T15:09:26.000042Z < ACK [10 06",
          "2026-03-14T15:09:26.000042Z < ACK [10 0]", "2026-03-14T15:09:26.000042Z < ACK",
          "2026-02-30T15:09:26.000042Z < ACK [10 06]",
          "2026-03-14T15:09:26.000Z 0F A2 N7:0 2 bytes STS 00 1.2 ms"})
        QVERIFY2(!readTraceLine(line), line);
}

// Catches: digits dropped, and an error that hides which text was wrong.
void TestFrameText::hexadecimal()
{
    QString error;
    QCOMPARE(readHex("1002 | 01,00:0f 0xAb  # 99", &error), std::optional(hex("100201000FAB")));
    QCOMPARE(readHex(" # nothing", &error), std::optional(QByteArray()));
    for (const char* const text : {"100", "10 0G", "0x", "1002h", "x\033[2J"}) {
        QVERIFY2(!readHex(text, &error), text);
        QString shown = QString(text).section(' ', -1).replace('\033', '?');
        QVERIFY2(error.startsWith('\'' + shown + "' is not hexadecimal; give"), qPrintable(error));
    }
}

QTEST_GUILESS_MAIN(TestFrameText)
#include "tst_frametext.moc"
