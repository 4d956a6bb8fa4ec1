#include <QTemporaryDir>
#include <QtTest>

#include "simulator/server.h"
#include "support/program.h"
#include "support/rows.h"

namespace {

using support::Outcome;

Outcome df1(const QString& arguments, const QByteArray& input = {})
{
    return support::runDf1(arguments.split(' ', Qt::SkipEmptyParts), input);
}

QByteArray bytesIn(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}

/// What df1 shows of a line, and how it explains what it saw.
class TestTrace : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void explainsFaults();
    void tracesComeBack();
    void tracesEveryVerb();
    void decodes();
    void saysThatATraceHasEnded();

private:
    QString path(const char* name) const { return m_folder.filePath(name); }

    const QTemporaryDir m_folder;
};

void TestTrace::initTestCase()
{
    QFile list(path("tags.csv"));
    QVERIFY(list.open(QIODevice::WriteOnly) && list.write("name,address\nspeed,N7:0\n") > 0);
    QCOMPARE(df1("dump N7 -o " + path("dump.json")).exitCode, 0);
}

// Catches: an error that hides what was on the line, and an exit code that changes with it.
void TestTrace::explainsFaults()
{
    const std::tuple<const char*, int, const char*, int> rows[] = {
        {"lose-ack", 5, "invalid PLC response; the reply came without an ACK", 1},
        {"damage-ack", 5, "invalid PLC response; 2 bytes that are no DF1", 1},
        {"nak", 5, "read N7:0:request CRC error; the controller answered NAK", 1},
        {"enq", 5, "PLC no ack; the controller answered ENQ", 1},
        {"silence", 4, "PLC no response; nothing came back; check the cable", 1},
        {"lose-reply", 4, "PLC no response; the request was acknowledged, but no reply came", 1},
        {"late:500", 5, "invalid response from PLC; the reply came when it was no longer waited",
         1},
        {"wrong-station", 5, "the reply is not to this request: it goes from station 2", 1},
        {"flip:8", 4, "in an earlier attempt the reply came with a wrong check", 1},
        {"insert:9", 5, "response CRC error; the reply came with a wrong check", 0},
        {"half", 4, "in an earlier attempt the reply broke off after 7 bytes", 1},
        {"sts:112", 6, "invalid address:N7:0; the controller refused it: STS 70, the controller",
         1},
        {"ext-sts:11", 6, "STS F0 EXT STS 0B, access denied; check the file's protection", 1},
    };
    for (const auto& [fault, exitCode, text, retries] : rows) {
        QString error;
        simulator::ServerSettings settings;
        settings.station.ackTimeoutMs = 60000; // no ENQ between the attempts
        settings.faults = *simulator::parseFaults(fault, &error);
        simulator::Server server(simulator::Controller(simulator::seededTables(1)), settings);
        QVERIFY2(server.start(simulator::PtyPlace(), &error), qPrintable(error));
        const Outcome outcome = df1(QString("read N7:0 --retry %1 --timeout 400 --port %2")
                                        .arg(retries)
                                        .arg(server.portName()));
        ROW_COMPARE(fault, outcome.exitCode, exitCode);
        QVERIFY2(outcome.errors.contains(text), qPrintable(outcome.errors));
        QCOMPARE(outcome.errors.count('\n'), 1);
    }
}

// Catches: a trace or capture that loses something on the way back, and one that gets
// between the data.
void TestTrace::tracesComeBack()
{
    const QString data = df1("read N7:0 F8:0").output;
    const Outcome shown = df1("read N7:0 F8:0 --trace -");
    QCOMPARE(shown.output, data);
    QCOMPARE(shown.errors.count('\n'), 8);
    QVERIFY2(shown.errors.contains(QRegularExpression(
                 "^20[-0-9]+T[:0-9]+\\.\\d{6}Z > protected typed logical read [NF][78]:0, . bytes; "
                 "station 0 to 1, TNS [0-9A-F]{4}; CRC right \\[10 02 01 00 0F 00 [0-9A-F ]+\\]\n"
                 "20[-0-9]+T[:0-9.]+Z < ACK \\[10 06\\]\n")),
             qPrintable(shown.errors));
    QCOMPARE(df1("decode", "df1: a message\n" + shown.errors.toUtf8()).output, shown.errors);

    const QString file = path("line.pcap");
    QCOMPARE(df1("read N7:0 F8:0 --trace " + file).output, data);
    const QString decoded = df1("decode " + file).output;
    const QRegularExpression numbers("20[-0-9T:.]+Z|TNS ....|\\[10 02.*\\]");
    QCOMPARE(QString(decoded).remove(numbers), QString(shown.errors).remove(numbers));
    QCOMPARE(df1("decode -", bytesIn(file)).output, decoded);
}

// Catches: an option that a verb takes and does nothing with.
void TestTrace::tracesEveryVerb()
{
    for (const QString& verb : {QString("write N7:0 1"), QString("watch N7:0 --count 1"),
                                "poll --count 1 " + path("tags.csv"), QString("doctor"),
                                QString("dump N7"), "restore --yes " + path("dump.json")}) {
        const Outcome outcome = df1(verb + " --timeout 9000 --trace -");
        QVERIFY2(outcome.exitCode == 0 && outcome.errors.contains("Z < ACK [10 06]\n"),
                 qPrintable(verb + outcome.errors));
        ROW_COMPARE(qPrintable(verb), df1(verb + " --trace /dev/full").exitCode, 8);
    }
    QCOMPARE(df1(QString("poll --trace - sim=%1 sim=%1").arg(path("tags.csv"))).exitCode, 2);
}

// Catches: input taken for what it is not, and an error without its place.
void TestTrace::decodes()
{
    const QString words = "protected typed logical read N7:0, 2 bytes; station 0 to 1, TNS 1234; "
                          "CRC right [10 02 01 00 0F 00 34 12 A2 02 07 89 00 00 10 03 89 34]\n";
    const QString frame = "1002 | 01 00 0F 00 34 12 A2 02 07 89 00 00 | 10 03 | 89 34";
    const std::tuple<QString, QByteArray, int, QString, QString> rows[] = {
        {"decode " + QString(frame).remove('|'), "", 0, words, ""},
        {"decode", "# read\n" + frame.toUtf8().insert(19, '\n') + "\n1006", 0,
         words + "ACK [10 06]\n", ""},
        {"decode -", "", 0, "", ""},
        {"decode 10 0", "", 2, "", "'0' is not hexadecimal"},
        {"decode", "10 06\n1\n", 2, "ACK [10 06]\n", "standard input, line 2: '1' is not"},
        {"decode nosuch", "", 2, "", "cannot read nosuch: No such file or directory; give bytes"},
        {"decode /tmp", "", 2, "", "cannot read /tmp: Is a directory"},
        {"decode", QByteArray::fromHex("d4c3b2a10200"), 2, "", "standard input: truncated"},
    };
    for (const auto& [arguments, input, exitCode, output, errors] : rows) {
        const Outcome outcome = df1(arguments, input);
        ROW_COMPARE(qPrintable(arguments), outcome.exitCode, exitCode);
        ROW_COMPARE(qPrintable(arguments), outcome.output, output);
        QVERIFY2(outcome.errors.contains(errors), qPrintable(outcome.errors));
    }
}

// Catches: a full disk that a trace passes over in silence, or that is told again and again.
void TestTrace::saysThatATraceHasEnded()
{
    const Outcome unopened = df1("read N7:0 --trace /nonexistent/x");
    QCOMPARE(unopened.exitCode, 8);
    QVERIFY2(unopened.errors.contains("/nonexistent/x: No such file"), qPrintable(unopened.errors));

    // A file of at most 1 KiB.
    for (const QString& verb : {"poll --interval 1ms --count 100 " + path("tags.csv"),
                                QString("read N7:0 --count 60 --limit 6")}) {
        const Outcome outcome =
            support::run({"bash", "-c",
                          QString("trap '' XFSZ; ulimit -f 1; exec %1 %2 --trace %3")
                              .arg(support::df1({}).join(' '), verb, path("big.pcap"))});
        ROW_COMPARE(qPrintable(verb), outcome.exitCode, 8);
        QVERIFY2(outcome.errors.contains("big.pcap: File too large"), qPrintable(outcome.errors));
        QCOMPARE(outcome.errors.count('\n'), 1);
    }
}

QTEST_GUILESS_MAIN(TestTrace)
#include "tst_trace.moc"
