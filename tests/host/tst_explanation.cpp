#include <QtTest>

#include "host/explanation.h"
#include "support/frames.h"
#include "support/rows.h"

using namespace host;

namespace {

using Kind = LineEvent::Kind;

const QByteArray ACK = hex("1006");

LineEvent sent(const QByteArray& bytes)
{
    return {Kind::Sent, {}, bytes};
}

LineEvent came(const QByteArray& bytes)
{
    return {Kind::Received, {}, bytes};
}

LineEvent silence()
{
    return {Kind::Silence, {}};
}

QByteArray request(char tns)
{
    return frameOf(hex("01000F00") + tns + hex("00A20207890000"));
}

QByteArray reply(char tns, const char* from = "0001", const char* status = "4F00")
{
    return frameOf(hex(from) + hex(status) + tns + '\0' + hex("3412"));
}

}

/// From what was seen on the line to its cause.
class TestExplanation : public QObject
{
    Q_OBJECT

private slots:
    void causes();
    void knowsLateRepliesOfFormerCalls();
};

// Catches: a cause taken for another, and the wrong attempt looked at.
void TestExplanation::causes()
{
    const QByteArray damaged = reply(1).chopped(1) + '\x55';
    const std::tuple<const char*, std::vector<LineEvent>, Cause, const char*> rows[] = {
        {"no request", {}, Cause::NotSent, "no request"},
        {"nothing", {sent(request(1)), silence()}, Cause::Silence, "nothing came back"},
        {"noise", {sent(request(1)), came(hex("FE7AFE"))}, Cause::Noise, "3 bytes came that"},
        {"noise and more",
         {sent(request(1)), came(hex("FE") + ACK), silence()},
         Cause::Noise,
         "1 byte that are no DF1 came with"},
        {"echo", {sent(request(1)), came(request(1) + ACK)}, Cause::Echo, "gives back"},
        {"NAK", {sent(request(1)), came(hex("1015"))}, Cause::Nak, "NAK"},
        {"no ACK", {sent(request(1)), came(reply(1))}, Cause::NoAcknowledgement, "without an ACK"},
        {"embedded ACK",
         {sent(request(1)), came(reply(1).insert(4, ACK))},
         Cause::EmbeddedAnswer,
         "inside the reply"},
        {"no reply", {sent(request(1)), came(ACK), silence()}, Cause::NoReply, "no reply came"},
        {"ENQ",
         {sent(request(1)), came(hex("1005")), sent(ACK), came(reply(1))},
         Cause::Enquiry,
         "ENQ instead of ACK"},
        {"wrong check",
         {sent(request(1)), came(ACK + damaged)},
         Cause::DamagedReply,
         "wrong check"},
        {"broken off",
         {sent(request(1)), came(ACK + reply(1).left(7)), silence()},
         Cause::DamagedReply,
         "after 7 bytes"},
        {"lone DLE",
         {sent(request(1)), came(ACK + hex("100200014F00010010411003D18E"))},
         Cause::DamagedReply,
         "not doubled"},
        {"BCC",
         {sent(request(1)), came(ACK + hex("100200014F00010034121003 69"))},
         Cause::BccReply,
         "a BCC instead"},
        {"other station",
         {sent(request(1)), came(ACK + reply(1, "0002"))},
         Cause::ForeignReply,
         "from station 2 to 0 instead of from 1 to 0"},
        {"other command",
         {sent(request(1)), came(ACK + reply(1, "0001", "4600"))},
         Cause::ForeignReply,
         "command is 46"},
        {"other TNS",
         {sent(request(1)), came(ACK + reply(2))},
         Cause::ForeignReply,
         "0002 instead of 0001"},
        {"late",
         {sent(request(1)), silence(), sent(request(2)), came(ACK + reply(1))},
         Cause::LateReply,
         "no longer waited for"},
        {"refused",
         {sent(request(1)), came(ACK + reply(1, "0001", "4F70"))},
         Cause::Refused,
         "STS 70, the controller is in Program mode"},
        {"reply held back",
         {sent(request(1)), came(ACK + damaged), sent(request(2)), came(ACK), silence()},
         Cause::DamagedReply,
         "in an earlier attempt the reply came with a wrong check"},
        {"unplugged",
         {sent(request(1)), came(ACK + damaged), sent(request(2)), silence()},
         Cause::Silence,
         "nothing came back"},
        {"all in order", {sent(request(1)), came(ACK + reply(1))}, Cause::Other, "order"},
    };
    for (const auto& [name, events, cause, text] : rows) {
        CallTraffic call;
        call.beginCall();
        TrafficReader reader([&](const Sighting& sighting) { call.take(sighting); });
        for (const LineEvent& event : events)
            reader.take(event);
        reader.finish();
        const Explanation told = call.explain();
        ROW_COMPARE(name, static_cast<int>(told.cause), static_cast<int>(cause));
        QVERIFY2(told.text.contains(text), qPrintable(told.text));
        QVERIFY2(!told.hint.isEmpty(), name);
    }
}

// Catches: with a single attempt, a reply too late told as somebody else's, or the former
// call's damage told again.
void TestExplanation::knowsLateRepliesOfFormerCalls()
{
    CallTraffic call;
    TrafficReader reader([&](const Sighting& sighting) { call.take(sighting); });
    const auto run = [&](char tns, const QByteArray& answer) {
        call.beginCall();
        reader.take(sent(request(tns)));
        reader.take(came(answer));
        return call.explain().cause;
    };
    QCOMPARE(run(1, reply(1).chopped(1) + '\x55'), Cause::DamagedReply);
    QCOMPARE(run(2, ACK), Cause::NoReply);
    QCOMPARE(run(3, ACK + reply(2)), Cause::LateReply);
}

QTEST_GUILESS_MAIN(TestExplanation)
#include "tst_explanation.moc"
