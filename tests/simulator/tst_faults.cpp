#include <QtTest>

#include "simulator/faults.h"
#include "support/frames.h"

using namespace simulator;

namespace {

const QByteArray ACK = hex("1006");
const QByteArray FIRST = frameOf(hex("00014F0001002A00"));
const QByteArray SECOND = frameOf(hex("00014F0002002B00"));

FaultScript scriptOf(const QString& text)
{
    QString error;
    const auto script = parseFaults(text, &error);
    if (!script)
        qFatal("%s", qPrintable(error));
    return *script;
}

QByteArray lineOf(const Faults::Passed& passed)
{
    QByteArray text;
    for (const TimedBytes& piece : passed.line) {
        if (!piece.bytes.isEmpty())
            text += QByteArray::number(piece.at) + ':' + piece.bytes.toHex() + ' ';
    }
    return text.trimmed();
}

QByteArray at(int time, const QByteArray& bytes)
{
    return QByteArray::number(time) + ':' + bytes.toHex();
}

}

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void eachByName_data();
    void eachByName();
    void damagesTheReply_data();
    void damagesTheReply();
    void happensWhenItShould_data();
    void happensWhenItShould();
    void asksForMoreThanBytes();
    void repeatsByItsSeed();
    void jsonSaysTheSame();
    void saysWhatIsWrong_data();
    void saysWhatIsWrong();
};

void TestFaults::eachByName_data()
{
    QTest::addColumn<QByteArray>("line");

    const QByteArray ack = at(50, ACK) + ' ';
    const auto reply = [&ack](const char* message) { return ack + at(50, frameOf(hex(message))); };
    const QByteArray sound = ack + at(50, SECOND);
    QTest::newRow("lose-ack@2") << at(50, SECOND);
    QTest::newRow("nak@2") << at(50, hex("1015"));
    QTest::newRow("enq@2") << at(50, hex("1005")) + ' ' + at(50, SECOND);
    QTest::newRow("silence@2") << QByteArray();
    QTest::newRow("lose-reply@2") << ack.trimmed();
    QTest::newRow("late@2") << ack + at(750, SECOND);
    QTest::newRow("late@2:9") << ack + at(59, SECOND);
    QTest::newRow("twice@2") << sound + ' ' + at(50, SECOND);
    QTest::newRow("previous@2") << ack + at(50, FIRST);
    QTest::newRow("wrong-station@2") << reply("00024F0002002B00");
    QTest::newRow("wrong-command@2") << reply("0001500002002B00");
    QTest::newRow("wrong-tns@2") << reply("00014F0001002B00");
    QTest::newRow("drop@2:3") << ack + at(50, QByteArray(SECOND).remove(3, 1));
    QTest::newRow("double@2:3") << ack + at(50, QByteArray(SECOND).insert(3, '\x01'));
    QTest::newRow("drop@2:600") << ack + at(50, SECOND.left(13));
    QTest::newRow("half@2") << ack + at(50, SECOND.left(7));
    QTest::newRow("sts@2") << reply("00014F100200");
    QTest::newRow("sts@2:0x50") << reply("00014F500200");
    QTest::newRow("ext-sts@2") << reply("00014FF0020006");
    QTest::newRow("program@2") << sound;
    QTest::newRow("swap@2") << sound;
    QTest::newRow("hang-up@2") << QByteArray();
    QTest::newRow("late@2:9,wrong-tns@2") << ack + at(59, frameOf(hex("00014F0001002B00")));
    QTest::newRow("nak@2,twice@2") << at(50, hex("1015"));
    QTest::newRow("previous") << ack + at(50, FIRST);
}

// Catches: a fault that does something else than its name says, at another time.
void TestFaults::eachByName()
{
    QFETCH(QByteArray, line);
    Faults faults(scriptOf(QTest::currentDataTag()), 1, CheckMethod::Crc);
    faults.pass(ACK + FIRST, 0);
    QCOMPARE(lineOf(faults.pass(ACK + SECOND, 50)), line);
}

void TestFaults::damagesTheReply_data()
{
    QTest::addColumn<int>("sizeChange");
    QTest::newRow("flip") << 0;
    QTest::newRow("flip:0") << 0;
    QTest::newRow("insert") << 1;
    QTest::newRow("double") << 1;
    QTest::newRow("drop") << -1;
    QTest::newRow("damage-ack") << 0;
    QTest::newRow("babble:40") << 40;
}

// Catches: damage that is none, or is always the same.
void TestFaults::damagesTheReply()
{
    QFETCH(int, sizeChange);
    Faults faults(scriptOf(QTest::currentDataTag()), 1, CheckMethod::Crc);
    QSet<QByteArray> lines;
    for (int i = 0; i < 40; ++i) {
        QByteArray line;
        for (const TimedBytes& piece : faults.pass(ACK + SECOND, 0).line)
            line += piece.bytes;
        QCOMPARE(sizeOf(line), sizeOf(ACK + SECOND) + sizeChange);
        lines.insert(line);
    }
    QVERIFY(!lines.contains(ACK + SECOND));
    QVERIFY2(lines.size() > 4, qPrintable(QString::number(lines.size())));
}

void TestFaults::happensWhenItShould_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::newRow("silence@3") << "..x.......";
    QTest::newRow("silence@3x4") << "..xxxx....";
    QTest::newRow("silence/4") << "...x...x..";
    QTest::newRow("silence/4x2") << "...xx..xx.";
    QTest::newRow("silence%0") << "..........";
    QTest::newRow("silence%100") << "xxxxxxxxxx";
    QTest::newRow("silence") << "xxxxxxxxxx";
    QTest::newRow("silence@2,nak@2,silence@9") << ".x......x.";
}

// Catches: a count that begins elsewhere, and a fault that goes on too long.
void TestFaults::happensWhenItShould()
{
    QFETCH(QString, pattern);
    Faults faults(scriptOf(QTest::currentDataTag()), 1, CheckMethod::Crc);
    QString happened;
    for (int i = 0; i < 10; ++i) {
        happened += faults.pass(ACK, i).line.empty() ? 'x' : '.';
        faults.pass(FIRST, i); // a reply on its own begins no transaction
    }
    QCOMPARE(happened, pattern);
    Faults percent(scriptOf("silence%20"), 1, CheckMethod::Crc);
    int silent = 0;
    for (int i = 0; i < 1000; ++i)
        silent += percent.pass(ACK, i).line.empty() ? 1 : 0;
    QVERIFY2(silent > 150 && silent < 250, qPrintable(QString::number(silent)));
}

// Catches: a station left waiting for a reply that the controller never made, and a
// repetition damaged once more.
void TestFaults::asksForMoreThanBytes()
{
    const auto effects = [](const char* text) {
        Faults faults(scriptOf(text), 1, CheckMethod::Crc);
        return faults.pass(ACK + FIRST, 0).effects;
    };
    QCOMPARE(effects("nak").forgottenReplies, 1);
    QCOMPARE(effects("lose-reply").forgottenReplies, 0);
    QVERIFY(effects("program").programMode);
    QVERIFY(effects("hang-up").hangUp);
    QCOMPARE(effects("swap:1000").swappedModel.value_or(0), 1000);

    Faults faults(scriptOf("half"), 1, CheckMethod::Crc);
    QCOMPARE(faults.pass(ACK + FIRST, 0).names, QStringList("half"));
    QCOMPARE(lineOf(faults.pass(FIRST, 7)), at(7, FIRST));
    QCOMPARE(lineOf(faults.pass(hex("1005"), 8)), at(8, hex("1005")));
}

// Catches: randomness from elsewhere than the seed.
void TestFaults::repeatsByItsSeed()
{
    const auto run = [](quint32 seed) {
        Faults faults(scriptOf(faultNames().join("%20,") + "%20"), seed, CheckMethod::Crc);
        QByteArray lines;
        for (int i = 0; i < 300; ++i)
            lines += lineOf(faults.pass(ACK + SECOND, i)) + '\n';
        return lines;
    };
    QCOMPARE(run(5), run(5));
    QVERIFY(run(5) != run(6));
}

// Catches: the two forms of a script drifting apart.
void TestFaults::jsonSaysTheSame()
{
    QString error;
    const auto script = parseFaultsJson(R"({"faults": [{"fault": "nak", "at": 3, "times": 2},
        {"fault": "flip", "percent": 50, "value": 4}, {"fault": "silence", "every": 10}]})",
                                        &error);
    QVERIFY2(script, qPrintable(error));
    Faults json(*script, 1, CheckMethod::Crc);
    Faults text(scriptOf("nak@3x2, flip%50:4, silence/10"), 1, CheckMethod::Crc);
    for (int i = 0; i < 30; ++i)
        QCOMPARE(lineOf(json.pass(ACK + FIRST, i)), lineOf(text.pass(ACK + FIRST, i)));
}

void TestFaults::saysWhatIsWrong_data()
{
    QTest::addColumn<QString>("message");
    QTest::newRow("nap@3") << "unknown fault \"nap\"; there are lose-ack, ";
    QTest::newRow("nak@") << "write NAME[@N|/N|%P]";
    QTest::newRow("nak@0") << "nak: transactions are counted from 1 on";
    QTest::newRow("nak/0") << "nak: transactions are counted from 1 on";
    QTest::newRow("nak%101") << "nak: a rate must be from 0 to 100";
    QTest::newRow("nak:3") << "nak: takes no value";
    QTest::newRow("sts:256") << "sts: the value, STS, must be from 0 to 255";
    QTest::newRow("swap:1600") << "from 1000 to 1500";
    QTest::newRow("{\"faults\": [{\"fault\": \"nak\", \"at\": 1, \"every\": 2}]}")
        << "faults[0]: give one of";
    QTest::newRow("{\"faults\": [{\"fault\": \"nak\", \"at\": \"1\"}]}")
        << "faults[0].at: must be a number";
    QTest::newRow("{\"faults\": [{\"name\": \"nak\"}]}") << "faults[0]: unknown property \"name\"";
    QTest::newRow("{\"faults\": 1}") << "faults: must be an array";
}

// Catches: a misspelt script that runs without faults.
void TestFaults::saysWhatIsWrong()
{
    QFETCH(QString, message);
    const QByteArray script = QTest::currentDataTag();
    QString error;
    QVERIFY(
        !(script.startsWith('{') ? parseFaultsJson(script, &error) : parseFaults(script, &error)));
    QVERIFY2(error.contains(message), qPrintable(error));
}

QTEST_APPLESS_MAIN(TestFaults)
#include "tst_faults.moc"
