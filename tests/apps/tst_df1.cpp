#include <QJsonDocument>
#include <QJsonObject>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>
#include <unistd.h>

#include "simulator/server.h"
#include "support/frames.h"
#include "support/program.h"
#include "support/ptypair.h"
#include "support/rows.h"

namespace {

using support::Outcome;
using support::runDf1;

}

/// df1 as a script sees it: arguments in, output and exit code out.
class TestDf1 : public QObject
{
    Q_OBJECT

private slots:
    void failures_data();
    void failures();
    void printsForPrograms_data();
    void printsForPrograms();
    void saysWhatItCouldNotPrint();
    void tellsPeopleOfTheSimulator();
    void coloursTerminalsOnly();
    void namesTheNeighbours();
    void dividesReads();
    void verifiesWrites();
    void writesWhatItSays_data();
    void writesWhatItSays();
    void rehearsesWithoutAPort();
    void takesLinksFromAProfile_data();
    void takesLinksFromAProfile();
    void completes();
    void documentsItsOptions();
    void takesAStationFromAProject();
    void tellsWhatThePluginIs();
    void tellsLineFaultsApart_data();
    void tellsLineFaultsApart();
    void noticesALineThatHangsUp();
    void answersTwoRunsInARowAtOnce();
    void plansATagList();
};

void TestDf1::failures_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("no verb") << "" << 2 << "give one of decode, ";
    QTest::newRow("wrong verb") << "reed N7:0" << 2 << "'reed' is no verb";
    QTest::newRow("option first") << "--port /none read N7:0" << 2 << "options behind it";
    QTest::newRow("no address") << "read" << 2 << "address is required";
    QTest::newRow("unknown option") << "read N7:0 --speed 3" << 2 << "--speed";
    QTest::newRow("no element") << "read N7 --port /none" << 2 << "'N7' is no address";
    QTest::newRow("element out of range") << "read N7:65536" << 2 << "0 to 65535";
    QTest::newRow("file out of range") << "read N300:0" << 2 << "0 to 255";
    QTest::newRow("station out of range") << "read N7:0 --station 255" << 2 << "0 to 254";
    QTest::newRow("bad line") << "read N7:0 --line 19200,NONE,9,1" << 2 << "9";
    QTest::newRow("no plugin") << "read N7:0 --plugin /nonexistent" << 2 << "/nonexistent";
    QTest::newRow("no port") << "read N7:0 --port /nonexistent" << 3 << "no such device";
    QTest::newRow("no server") << "read N7:0 --port tcp://127.0.0.1:1" << 3 << "refused";
    QTest::newRow("no file number") << "read S:1/5" << 2 << "such as S2:1/5";
    QTest::newRow("bit out of range") << "read B3:0/256" << 2 << "0 to 255";
    QTest::newRow("elements out of range") << "read N7:65535 --count 2" << 2 << "0 to 65535";
    QTest::newRow("no such bit") << "read T4:0/XY" << 2 << "EN, TT, DN";
    QTest::newRow("no such word") << "read R6:0.ACC" << 2 << "LEN, POS";
    QTest::newRow("form of a float") << "read F8:0 --as hex --port /none" << 2 << "give f32";
    QTest::newRow("no such form") << "read N7:0 --as i8" << 2 << "i16,u16,hex,bin,bits,i32,u32,f32";
    QTest::newRow("output") << "write O:0 1 --port /none" << 2 << "output file; add --yes";
    QTest::newRow("status") << "write S2:5 1 --port /none" << 2 << "status file; add --yes";
    QTest::newRow("whole timer") << "write T4:0 1 --port /none" << 2 << "not PRE or ACC; add --yes";
    QTest::newRow("output, meant") << "write O:0 1 --port /none --yes" << 3 << "/none";
    QTest::newRow("no value") << "write N7:0" << 2 << "value is required";
    QTest::newRow("word too large") << "write N7:0 65536 --port /none" << 2 << "-32768 to 65535";
    QTest::newRow("word too small") << "write N7:0 --port /none -- -32769" << 2 << "-32768";
    QTest::newRow("word with a fraction") << "write N7:0 1.5 --port /none" << 2 << "'1.5'";
    QTest::newRow("word with a tail") << "write N7:0 0x1G --port /none" << 2 << "'0x1G'";
    QTest::newRow("float too large") << "write F8:0 1e39 --port /none" << 2 << "3.4e38";
    QTest::newRow("bit of 2") << "write B3:0/1 2 --port /none" << 2 << "0 or 1";
    QTest::newRow("two bits") << "write B3:0/1 1 1 --port /none" << 2 << "a single 0 or 1";
    QTest::newRow("bit of no timer") << "write N7:0/DN 1 --port /none" << 2 << "no command";
    QTest::newRow("writes round the end") << "write T4:65535 1 2 --port /none" << 2 << "65535";
    QTest::newRow("refused write") << "write N7:256 1" << 6 << "invalid address:N7:256";
    QTest::newRow("no project") << "links --project /none" << 2 << "no directory";
    QTest::newRow("project without a port") << "read N7:0 --project /tmp" << 2 << "--hmi-port";
    QTest::newRow("two stations") << "read N7:0 --project / --hmi-port COM1 --station 2" << 2
                                  << "excludes";
    QTest::newRow("no tag list") << "plan" << 2 << "tags is required";
    QTest::newRow("missing tag list") << "plan /none.csv" << 2 << "/none.csv: No such file";
    QTest::newRow("limit above all") << "plan /none.csv --limit 247" << 2 << "range 6 to 246";
    QTest::newRow("plan for no line") << "plan /none.csv --line 19200" << 2 << "19200,NONE,8,1";
    QTest::newRow("no such file") << "read N99:0" << 6 << "invalid address:N99:0";
}

// Catches: a wrong exit code, a failure in silence, data printed beside it.
void TestDf1::failures()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    const Outcome outcome = runDf1(arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    QCOMPARE(outcome.exitCode, exitCode);
    QCOMPARE(outcome.output, QString());
    QVERIFY2(outcome.errors.contains(message), qPrintable(outcome.errors));
}

void TestDf1::printsForPrograms_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("output");

    QTest::newRow("JSON")
        << "read --format json N7:0 F8:9 F8:0 --port" // F8:9 is no number
        << "[\n  {\"address\": \"N7:0\", \"value\": 500, \"hex\": \"01F4\"},\n"
           "  {\"address\": \"F8:9\", \"value\": null, \"hex\": \"7FC00000\"},\n"
           "  {\"address\": \"F8:0\", \"value\": 73.9, \"hex\": \"4293CCCD\"}\n]\n";
    QTest::newRow("CSV") << "read --format csv N7:0 F8:9 --port"
                         << "address,value,hex\r\nN7:0,500,01F4\r\nF8:9,nan,7FC00000\r\n";
    QTest::newRow("JSON of elements")
        << "read --format json C5:0,L2 --port"
        << "[\n  {\"address\": \"C5:0\", \"CU\": 0, \"CD\": 1, \"DN\": 0, \"OV\": 0, \"UN\": 0, "
           "\"UA\": 0, \"PRE\": 308, \"ACC\": 129},\n"
           "  {\"address\": \"C5:1\", \"CU\": 0, \"CD\": 0, \"DN\": 0, \"OV\": 0, \"UN\": 0, "
           "\"UA\": 0, \"PRE\": 157, \"ACC\": 118}\n]\n";
    QTest::newRow("CSV of elements")
        << "read --format csv N7:0 T4:0 --port"
        << "address,value,hex\r\nN7:0,500,01F4\r\nT4:0/EN,1,1\r\nT4:0/TT,0,0\r\n"
           "T4:0/DN,1,1\r\nT4:0.PRE,490,01EA\r\nT4:0.ACC,490,01EA\r\n";
    QTest::newRow("text of both")
        << "read N7:0 T4:0 T4:1 B3:0/14 --port"
        << "ADDRESS  VALUE   HEX\nN7:0       500  01F4\n\n"
           "ADDRESS  EN  TT  DN  PRE  ACC\nT4:0      1   0   1  490  490\n"
           "T4:1      0   0   0  260    0\n\nADDRESS  VALUE  HEX\nB3:0/14      0    0\n";
    QTest::newRow("pairs") << "read --as u32 --format csv N7:0,L2 --port"
                           << "address,value,hex\r\nN7:0,32834036,01F501F4\r\n"
                              "N7:2,269484048,10100010\r\n";
    QTest::newRow("JSON of nothing") << "read --format json N99:0 --port"
                                     << "[]\n";
}

// Catches: values under the wrong address, JSON or CSV that programs refuse, and numbers that lose
// their last digits.
void TestDf1::printsForPrograms()
{
    QFETCH(QString, arguments);
    simulator::DataTables tables = simulator::seededTables(1);
    QVERIFY(tables.file(8)->write(9, 0, hex("0000C07F")));
    simulator::PtyServer server{simulator::Controller(tables)};
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    arguments += QLatin1Char(' ') + server.portName();
    QTEST(runDf1(arguments.split(QLatin1Char(' '))).output, "output");
}

// Catches: lost output that is told as a success, and an end without a word.
void TestDf1::saysWhatItCouldNotPrint()
{
    const std::tuple<const char*, const char*> rows[] = {
        {"\"$@\" read N7:0 >/dev/full", "df1: can't write to standard output: No space"},
        {"\"$@\" read --help >/dev/full", "df1: can't write to standard output: No space"},
        {"\"$@\" info >&-", "df1: can't write to standard output: Bad file"},
        {"{ sleep 0.3; \"$@\" info; echo $? >&2; } | head -c 0; exit 8", "8\n"},
    };
    for (const auto& [command, errors] : rows) {
        const Outcome outcome =
            support::run(QStringList{"sh", "-c", command, "sh"} + support::df1({}));
        QCOMPARE(outcome.exitCode, 8);
        QVERIFY2(outcome.errors.startsWith(errors), qPrintable(command + outcome.errors));
    }
}

// Catches: a person who forgets the port and takes simulated values for a machine's, and
// scripts that get a line more than they know.
void TestDf1::tellsPeopleOfTheSimulator()
{
    const support::PtyPair line;
    const QString command = "\"$@\" read N7:0 2>" + line.slavePath()
                            + "; \"$@\" read N7:0 --port sim 2>" + line.slavePath();
    support::run(QStringList{"sh", "-c", command, "sh"} + support::df1({}));
    char buffer[256];
    const ssize_t received = ::read(line.master(), buffer, sizeof buffer);
    QCOMPARE(QByteArray(buffer, static_cast<int>(received)),
             QByteArray("no --port is given: this is the embedded simulated controller\n"));
    QCOMPARE(runDf1({"read", "N7:0"}).errors, QString());
}

// Catches: colours in files and pipes, or against the user's wish.
void TestDf1::coloursTerminalsOnly()
{
    const std::tuple<const char*, bool> rows[] = {
        {"TERM=xterm", true}, {"TERM=dumb", false}, {"NO_COLOR=1", false}};
    for (const auto& [variable, isColoured] : rows) {
        const support::PtyPair line;
        const QStringList terminal = {"env", "-u", "NO_COLOR", "TERM=xterm", variable};
        support::run(QStringList{"sh", "-c", "\"$@\" >" + line.slavePath(), "sh"} + terminal
                     + support::df1({"read", "N7:0"}));
        char buffer[256];
        const ssize_t received = ::read(line.master(), buffer, sizeof buffer);
        QCOMPARE(QByteArray(buffer, static_cast<int>(received)).contains('\033'), isColoured);
    }
}

// Catches: a value under another element's or bit's name.
void TestDf1::namesTheNeighbours()
{
    const Outcome outcome = runDf1({"read", "--count", "2", "T4:0/DN", "B3:0/15", "T4:1.ACC/15"});
    QCOMPARE(outcome.exitCode, 0);
    QString addresses;
    for (const QString& line : outcome.output.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        addresses += line.section(QLatin1Char(' '), 0, 0) + QLatin1Char(' ');
    QCOMPARE(addresses, QString("ADDRESS T4:0/DN T4:1/DN B3:0/15 B3:1/0 T4:1.ACC/15 T4:2.ACC/0 "));
}

void TestDf1::writesWhatItSays_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("file");
    QTest::addColumn<int>("element");
    QTest::addColumn<int>("subElement");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("words") << "write N7:10 1 0xFFFE 0b101 --port" << 7 << 10 << 0
                           << hex("0100FEFF0500");
    QTest::newRow("negative word")
        << "write N7:10 --port %1 -- -2 65535" << 7 << 10 << 0 << hex("FEFFFFFF");
    QTest::newRow("floats") << "write F8:3 21.5 -1 --port" << 8 << 3 << 0
                            << hex("0000AC41000080BF");
    QTest::newRow("preset") << "write T4:5.PRE 300 --port" << 4 << 5 << 1 << hex("2C01");
    QTest::newRow("bit") << "write B3:2/18 0 --port" << 3 << 3 << 0 << hex("FBFF");
}

// Catches: a value packed wrongly, or into another place than the one named.
void TestDf1::writesWhatItSays()
{
    QFETCH(QString, arguments);
    QFETCH(int, file);
    QFETCH(int, element);
    QFETCH(int, subElement);
    QFETCH(QByteArray, bytes);

    simulator::DataTables tables = simulator::seededTables(1);
    tables.file(3)->setWord(3, 0, 0xFFFF);
    simulator::PtyServer server{simulator::Controller(tables)};
    QString error;
    QVERIFY2(server.start(&error), qPrintable(error));
    if (!arguments.contains(QLatin1String("%1")))
        arguments += QLatin1String(" %1");
    const Outcome outcome = runDf1(arguments.arg(server.portName()).split(QLatin1Char(' ')));
    QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.errors));
    QCOMPARE(outcome.output, QString());
    QVERIFY(outcome.errors.contains("written"));
    QVERIFY(tables.file(file)->write(element, subElement, bytes));
    QVERIFY(server.snapshot() == tables);
}

// Catches: a dry run that sends, or prints other frames than a run would send.
void TestDf1::rehearsesWithoutAPort()
{
    const Outcome outcome =
        runDf1({"write", "--dry-run", "T4:0.PRE", "1", "16", "--port", "/nonexistent"});
    QCOMPARE(outcome.exitCode, 0);
    QCOMPARE(outcome.output,
             QString("10 02 01 00 0F 00 01 00 AA 02 04 86 00 01 01 00 10 03 9C D6\n"
                     "10 02 01 00 0F 00 02 00 AA 02 04 86 01 01 10 10 00 10 03 FE 57\n"));
}

void TestDf1::takesLinksFromAProfile_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("start"); // of what is printed

    QTest::newRow("named") << "write press4 N7:0 1 --dry-run" << 0 << "10 02 04 05 0F";
    QTest::newRow("options first") << "write --dry-run press4 N7:0 1" << 0 << "10 02 04 05 0F";
    QTest::newRow("own station") << "write press4 N7:0 1 --dry-run --station 7 --self 8" << 0
                                 << "10 02 07 08 0F";
    QTest::newRow("its limit") << "write press4 N7:0 1 2 3 4 --dry-run" << 0
                               << "10 02 04 05 0F 00 01 00 AA 06 07 89";
    QTest::newRow("own limit") << "write press4 N7:0 1 2 3 4 --dry-run --limit 82" << 0
                               << "10 02 04 05 0F 00 01 00 AA 08 07 89";
    QTest::newRow("its port") << "read oven N7:0" << 3 << "df1: cannot open /nonexistent";
    QTest::newRow("own port") << "read oven N7:0 --port sim" << 0 << "ADDRESS";
    QTest::newRow("no such link") << "read oven2 N7:0" << 2
                                  << "df1: there is no link 'oven2'; known: oven, press4";
    QTest::newRow("not the first") << "read N7:0 oven" << 2 << "df1: 'oven' is no address";
    QTest::newRow("no address") << "read N7" << 2 << "df1: 'N7' is no address";
    QTest::newRow("no file") << "read oven N7:0 --profile /none" << 2 << "df1: no links are known";
    QTest::newRow("list") << "links --format csv" << 0
                          << "link,port,line,station,self,timeout,retry,delay,limit\r\n"
                             "oven,/nonexistent,,,,,,,\r\npress4,sim,,4,5,,,,6\r\n";
}

// Catches: a link's settings left out, or put before those of the command line.
void TestDf1::takesLinksFromAProfile()
{
    QFETCH(QString, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, start);

    const QTemporaryDir directory;
    QFile file(directory.filePath("links.json"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(R"({ "press4": { "port": "sim", "station": 4, "self": 5, "limit": 6 },
                    "oven": { "port": "/nonexistent" } })");
    file.close();
    if (!arguments.contains("--profile"))
        arguments += " --profile " + file.fileName();
    const Outcome outcome = runDf1(arguments.split(QLatin1Char(' ')));
    QVERIFY2((outcome.errors + outcome.output).startsWith(start),
             qPrintable(outcome.errors + outcome.output));
    QCOMPARE(outcome.exitCode, exitCode);
}

// Catches: a shell that offers nothing, or what does not fit where the cursor stands.
void TestDf1::completes()
{
    const QTemporaryDir directory;
    QFile profile(directory.filePath("links.json"));
    QVERIFY(profile.open(QIODevice::WriteOnly));
    profile.write(R"({ "press4": { "port": "sim" }, "oven": { "port": "sim" } })");
    profile.close();
    const QString bash = "source " COMPLETION_FOLDER "/df1.bash; COMP_WORDS=(\"$@\"); "
                         "COMP_CWORD=$(($# - 1)); "
                         "_df1 \"$1\" \"${@: -1}\" \"${COMP_WORDS[COMP_CWORD - 1]}\"; "
                         "echo \"${COMPREPLY[*]}\"";
    const QString zsh = "_describe() { echo \"${(P)@[-1]}\" }; _files() { echo files $* }; "
                        "words=(\"$@\") CURRENT=$#; shift $#; source " COMPLETION_FOLDER "/_df1";
    const struct
    {
        const char* shell;
        const char* words;
        const char* offered;
    } rows[] = {
        {"bash", "re", "read restore"},
        {"bash", "write --ver", "--verify"},
        {"bash", "read --format ", "text json csv"},
        {"bash", "read --format = j", "json"},
        {"bash", "read --count ", ""},
        {"bash", "read --profile %1 ", "oven press4"},
        {"bash", "read --profile %1 press4 ", ""},
        {"bash", "info ", ""},
        {"bash", "dump --profile %1 -o ", ""},
        {"zsh", "re", "read:Read values and print them"},
        {"zsh", "info --j", "--json"},
        {"zsh", "read --format ", "text json csv"},
        {"zsh", "read --plugin ", "files"},
        {"zsh", "read --profile %1 ", "oven press4"},
        {"zsh", "read --profile %1 press4 ", "files"},
        {"zsh", "dump --profile %1 -o ", "files"},
    };
    const QStringList df1 = support::df1({});
    if (df1.size() > 1)
        QSKIP("a shell can't start df1 where it needs an emulator");
    for (const auto& row : rows) {
        if (QStandardPaths::findExecutable(row.shell).isEmpty())
            continue;
        const bool isBash = QByteArray(row.shell) == "bash";
        const QString words = QString(row.words).replace("%1", profile.fileName());
        const Outcome outcome =
            support::run(QStringList{row.shell, isBash ? "--norc" : "-f", "-c", isBash ? bash : zsh,
                                     row.shell, df1.constLast()}
                         + words.split(' '));
        QCOMPARE(outcome.errors, QString());
        const QString offered = outcome.output.trimmed();
        const bool isAmongOthers = !isBash && offered.contains(row.offered);
        ROW_COMPARE(row.words, isAmongOthers ? row.offered : offered, QString(row.offered));
    }
}

// Catches: an option that no manual page knows, and one that only the page knows.
void TestDf1::documentsItsOptions()
{
    const auto optionsIn = [](const QString& text, const QString& pattern) {
        QSet<QString> options;
        auto match =
            QRegularExpression(pattern, QRegularExpression::MultilineOption).globalMatch(text);
        while (match.hasNext())
            options << match.next().captured(1);
        return options;
    };
    const auto documented = [&](const QString& page) {
        QFile file(page);
        if (!file.open(QIODevice::ReadOnly))
            return QSet<QString>();
        const QString text = QString::fromUtf8(file.readAll()).remove('\\');
        return optionsIn(text, "^\\.B.*(--[a-z-]+)");
    };
    const QSet<QString> common = documented(MAN_FOLDER "/df1.1") + QSet<QString>{"--help"};
    QVERIFY(common.size() > 10);
    for (const QFileInfo& page : QDir(MAN_FOLDER).entryInfoList({"df1-*.1"})) {
        const QString verb = page.baseName().section('-', 1);
        const QSet<QString> offered =
            optionsIn(runDf1({verb, "--help"}).output, "^  (?:-.,)?(--[a-z-]+)");
        const QSet<QString> known = documented(page.filePath());
        QVERIFY2(!offered.isEmpty(), qPrintable(verb));
        QCOMPARE(verb + (offered - known - common).values().join(' '), verb);
        QCOMPARE(verb + (known - offered).values().join(' '), verb);
    }
}

// Catches: a project's station left out, or taken from another link's node.
void TestDf1::takesAStationFromAProject()
{
    const QTemporaryDir directory;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE", "maker");
        database.setDatabaseName(directory.filePath("database"));
        QVERIFY(database.open());
        QSqlQuery query(database);
        for (const char* statement :
             {"CREATE TABLE LINK (LINKID INTEGER, HMIPORT INTEGER)",
              "CREATE TABLE NODE (LINKID INTEGER, STATIONID INTEGER, IP TEXT, PORT INTEGER, "
              "ISDEFAULT INTEGER)",
              "INSERT INTO LINK VALUES (1, 1000), (2, 1001), (3, 2000)",
              "INSERT INTO NODE VALUES (1, 3, NULL, NULL, 1), (2, 16, NULL, NULL, 1), "
              "(3, 5, '10.0.0.5', 502, 1)"})
            QVERIFY(query.exec(statement));
    }
    QSqlDatabase::removeDatabase("maker");

    const Outcome write = runDf1(
        {"write", "--dry-run", "N7:0", "1", "--project", directory.path(), "--hmi-port", "COM2"});
    QVERIFY2(write.output.startsWith("10 02 10 10 00 0F"), qPrintable(write.output + write.errors));
    const Outcome links = runDf1({"links", "--project", directory.path()});
    QCOMPARE(links.exitCode, 0);
    QCOMPARE(links.output, QString("LINK  PORT      STATION  ADDRESS\n"
                                   "1     COM1      3\n"
                                   "2     COM2      16\n"
                                   "3     ETHERNET  5        10.0.0.5:502\n"));
}

// Catches: a property reported under another's name.
void TestDf1::tellsWhatThePluginIs()
{
    const QJsonObject info =
        QJsonDocument::fromJson(runDf1({"info", "--json"}).output.toUtf8()).object();
    QCOMPARE(info.value("vendor").toString(), QString("Allen Bradley"));
    QCOMPARE(info.value("version").toString(), QString("1.0.0"));
    QCOMPARE(info.value("driver").toObject().value("timeout").toInt(), 500);
    QCOMPARE(info.value("port").toObject().value("baudrate").toInt(), 19200);
    QVERIFY(info.value("verification").toString().contains("\nversion="));

    const QString text = runDf1({"info"}).output;
    QVERIFY(text.contains(QRegularExpression("\nDefault line +RS232,19200,NONE,8,1\n")));
    QVERIFY(text.contains("timeout 500, retry 3, station 1, delay 0"));
}

// Catches: a refused address that takes its neighbours with it or hides the others, a read
// larger than it may be, and bytes 0x10 that no read has room for.
void TestDf1::dividesReads()
{
    simulator::DataTables tables = simulator::seededTables(1);
    QVERIFY(tables.file(7)->write(100, 0, QByteArray(206, '\x10')));
    simulator::ServerSettings settings;
    settings.station.ackTimeoutMs = 50;
    QStringList sizes;
    settings.log = [&](const simulator::Exchange& exchange) {
        sizes << QString::number(static_cast<unsigned char>(exchange.request.at(7)));
    };
    simulator::Server server(simulator::Controller(tables), settings);
    const struct
    {
        const char* arguments;
        int exitCode;
        const char* sizes; // of the requests
        int values;
    } rows[] = {
        {"N7:0,L103 --retry 0", 0, "206", 103},
        {"N7:0,L50 --retry 0 --limit 82", 0, "18 82", 50},
        {"N7:0 N7:5,L2 --retry 0", 0, "14", 3},
        {"N7:254,L2 N7:256 --retry 0", 6, "6 4 2", 2},
        {"N7:254,L3 N7:2 --retry 0", 6, "2 6", 1},
        {"N7:100,L103", 0, nullptr, 103}, // how often it tries is not certain
    };
    for (const auto& row : rows) {
        sizes.clear();
        QString error;
        QVERIFY2(server.start(simulator::PtyPlace(), &error), qPrintable(error));
        const QString arguments =
            QString("read --format csv --port %1 %2").arg(server.portName(), row.arguments);
        const Outcome outcome = runDf1(arguments.split(' '));
        server.stop();
        if (row.sizes)
            ROW_COMPARE(row.arguments, sizes.join(' '), QString(row.sizes));
        ROW_COMPARE(row.arguments, outcome.exitCode, row.exitCode);
        ROW_COMPARE(row.arguments, outcome.output.count('\n') - 1, row.values);
    }
}

// Catches: a write that did not last reported as done, or one that did as lost.
void TestDf1::verifiesWrites()
{
    simulator::ServerSettings settings;
    settings.isAlive = true; // sets ACC of timers that are off to 0
    simulator::Server server(simulator::Controller(simulator::seededTables(1)), settings);
    QString error;
    QVERIFY2(server.start(simulator::PtyPlace(), &error), qPrintable(error));
    const std::tuple<const char*, int, const char*> rows[] = {
        {"T4:1.ACC 5 6", 7,
         "df1: T4:1.ACC: reads back as 0 (hex 0000) after 5 (hex 0005) was written; "
         "2 of 2 values differ\n"},
        {"T4:1.PRE 5 6", 0, "T4:1.PRE: 2 values written and read back\n"},
        {"F8:1 -0 --quiet", 0, ""},
        {"B3:0/3 1", 0, "B3:0/3: 1 value written and read back\n"},
    };
    for (const auto& [arguments, exitCode, errors] : rows) {
        const Outcome outcome = runDf1(
            QString("write --verify --port %1 %2").arg(server.portName(), arguments).split(' '));
        ROW_COMPARE(arguments, outcome.errors, QString(errors));
        ROW_COMPARE(arguments, outcome.exitCode, exitCode);
    }
}

void TestDf1::tellsLineFaultsApart_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    QTest::newRow("silence") << QByteArray() << 4 << "PLC no response";
    QTest::newRow("noise") << hex("FE7A") << 5 << "invalid PLC response";
    QTest::newRow("half an answer") << hex("10") << 5 << "packet loss";
    QTest::newRow("only NAKs") << hex("1015") << 5 << "request CRC error";
}

// Catches: a fault of the line reported under another exit code.
void TestDf1::tellsLineFaultsApart()
{
    QFETCH(QByteArray, answer);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    const support::PtyPair line;
    std::thread controller([&] {
        char buffer[64];
        qint64 received = 0;
        while (received < 18) // one read request for N7:0
            received += ::read(line.master(), buffer, sizeof buffer);
        const ssize_t sent =
            ::write(line.master(), answer.constData(), static_cast<size_t>(answer.size()));
        Q_UNUSED(sent)
    });
    const Outcome outcome =
        runDf1({"read", "N7:0", "--port", line.slavePath(), "--retry", "0", "--timeout", "200"});
    controller.join();
    QCOMPARE(outcome.exitCode, exitCode);
    QCOMPARE(outcome.output, QString());
    QVERIFY2(outcome.errors.contains(message), qPrintable(outcome.errors));
}

// Catches: a lost line that is reported as a silent controller, after a long wait.
void TestDf1::noticesALineThatHangsUp()
{
    support::PtyPair line;
    std::thread controller([&] {
        char buffer[64];
        const ssize_t received = ::read(line.master(), buffer, sizeof buffer);
        Q_UNUSED(received)
        line.closeMaster();
    });
    const Outcome outcome =
        runDf1({"read", "N7:0", "--port", line.slavePath(), "--timeout", "15000"});
    controller.join();
    QCOMPARE(outcome.exitCode, 3);
    QVERIFY2(outcome.errors.contains(line.slavePath()), qPrintable(outcome.errors));
}

// Catches: every run beginning with the same transaction number, which a real
// controller takes for a repetition of the request before.
void TestDf1::answersTwoRunsInARowAtOnce()
{
    const support::PtyPair line;
    QSet<QByteArray> numbers;
    for (int run = 0; run < 4; ++run) {
        QByteArray request;
        std::thread controller([&] {
            char byte = 0;
            while (!request.contains(hex("1003")) && ::read(line.master(), &byte, 1) == 1)
                request.append(byte);
        });
        runDf1({"read", "N7:0", "--port", line.slavePath(), "--retry", "0", "--timeout", "1"});
        controller.join();
        char check[2];
        QCOMPARE(::read(line.master(), check, 2), ssize_t(2));
        numbers.insert(request);
    }
    QVERIFY(numbers.size() > 1);
}

// Catches: an option of the plan that has no effect, times in another unit, the dearest
// tags not first.
void TestDf1::plansATagList()
{
    const QTemporaryDir directory;
    QFile file(directory.filePath("tags.csv"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("name,address\nFar,N7:40\nNear,N7:0\nLater,N7:2\nRuns,B3:0/1\n");
    file.close();
    const QString common =
        QString("plan %1 --line 9600,EVEN,8,1 --turnaround 5").arg(file.fileName());
    const Outcome outcome = runDf1(common.split(' '));
    QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.errors));
    QCOMPARE(outcome.output, QString("REQUEST  COUNT  TAGS  BYTES    MS\n"
                                     "B3:0         1     1     36  46.3\n"
                                     "N7:0         3     2     40  50.8\n"
                                     "N7:40        1     1     36  46.3\n"
                                     "\n"
                                     "TAG    ADDRESS  SAVES_MS\n"
                                     "Far    N7:40        46.3\n"
                                     "Runs   B3:0/1       46.3\n"
                                     "Near   N7:0          4.6\n"
                                     "Later  N7:2          4.6\n"
                                     "\n"
                                     "TAGS  REQUESTS  BYTES  SCAN_MS\n"
                                     "   4         3    112    143.3\n"));
    const QString narrow = runDf1((common + " --limit 6 --station 16 --top 0").split(' ')).output;
    QVERIFY2(narrow.contains("\nN7:0         3     2     42  53.1\n"), qPrintable(narrow));
    QVERIFY(!narrow.contains("SAVES_MS"));
}

QTEST_GUILESS_MAIN(TestDf1)
#include "tst_df1.moc"
