#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <map>
#include <memory>

#include "support/program.h"
#include "support/resources.h"

namespace {

const int LINKS = 4;
const int RESTARTED = 4;
const int WORDS = 20;
const char* const FAULTS[LINKS] = {"nak%2,flip%2,lose-ack%2", "silence/40,late%2:300,twice%2",
                                   "sts/30:0x10,drop%2,previous%2", ""};

int valueOf(int link, int element)
{
    return 1000 * link + element;
}

QString nameOf(int link)
{
    return QStringLiteral("plc%1").arg(link);
}

}

/// df1 poll on several lines at once, paced and faulty, as a night's log has them.
class TestPoll : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void survivesFaultsAndARestart();

private:
    struct Rows
    {
        int values = 0;
        int errors = 0;
        int valuesSinceError = 0;
    };

    void write(const QString& name, const QByteArray& text);
    QString path(const QString& name) const { return m_folder.filePath(name); }
    std::unique_ptr<support::Program> controller(int link);
    QString takeRow(support::Program& poll);
    bool takeUntil(support::Program& poll, const std::function<bool()>& isReached);

    QTemporaryDir m_folder;
    std::map<QString, Rows> m_rows;
};

void TestPoll::write(const QString& name, const QByteArray& text)
{
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

void TestPoll::initTestCase()
{
    QByteArray tags = "name,address,type,scale,unit\n";
    for (int element = 0; element < WORDS; ++element)
        tags += QStringLiteral("word%1,N7:%1,,,\n").arg(element).toLatin1();
    write("tags.csv", tags);
    QStringList links;
    for (int link = 1; link <= LINKS; ++link) {
        QStringList values;
        for (int element = 0; element < WORDS; ++element)
            values << QString::number(valueOf(link, element));
        write(nameOf(link) + ".json", R"({"files": [{"number": 7, "type": "N", "values": [)"
                                          + values.join(',').toLatin1() + "]}]}");
        links << QStringLiteral(R"("%1": {"port": "%2", "timeout": 200, "retry": 1})")
                     .arg(nameOf(link), path(nameOf(link)));
    }
    write("links.json", '{' + links.join(',').toLatin1() + '}');
}

std::unique_ptr<support::Program> TestPoll::controller(int link)
{
    QStringList arguments{"simulate", "--still",
                          "--pace",   "19200",
                          "--link",   path(nameOf(link)),
                          "--seed",   QString::number(link),
                          "--tables", path(nameOf(link) + ".json")};
    if (*FAULTS[link - 1] != '\0')
        arguments << "--faults" << FAULTS[link - 1];
    auto program = std::make_unique<support::Program>(support::df1(arguments));
    const QString port = program->readLine();
    return port.isEmpty() ? nullptr : std::move(program);
}

/// Counts the next row; what is wrong with it, if anything.
QString TestPoll::takeRow(support::Program& poll)
{
    const QString line = poll.readLine();
    const QStringList fields = line.split(',');
    if (fields.size() < 6)
        return "no row: " + line;
    Rows& rows = m_rows[fields[1]];
    const bool isError = fields[3].isEmpty();
    rows.values += isError ? 0 : 1;
    rows.errors += isError ? 1 : 0;
    rows.valuesSinceError = isError ? 0 : rows.valuesSinceError + 1;
    const int expected = valueOf(fields[1].mid(3).toInt(), fields[2].mid(4).toInt());
    const bool isRight = isError ? !fields[5].isEmpty() : fields[3].toInt() == expected;
    return isRight ? QString() : line;
}

bool TestPoll::takeUntil(support::Program& poll, const std::function<bool()>& isReached)
{
    while (!isReached()) {
        const QString wrong = takeRow(poll);
        if (!wrong.isEmpty())
            return QTest::qVerify(false, "row", qPrintable(wrong), __FILE__, __LINE__);
    }
    return true;
}

// Catches: a value of another link or of a damaged answer; a link that stays dead after
// its controller is back, or keeps stale tags; rows lost or torn between threads, or at
// Ctrl-C; a scan that leaks.
void TestPoll::survivesFaultsAndARestart()
{
    std::vector<std::unique_ptr<support::Program>> controllers;
    QStringList lists;
    for (int link = 1; link <= LINKS; ++link) {
        controllers.push_back(controller(link));
        QVERIFY(controllers.back());
        lists << nameOf(link) + '=' + path("tags.csv");
    }
    support::Program poll(support::df1(QStringList{"poll", "--interval", "60ms", "--longest-pause",
                                                   "200ms", "--profile", path("links.json")}
                                       + lists));
    QCOMPARE(poll.readLine(), QStringLiteral("time,link,name,value,unit,error"));
    Rows& restarted = m_rows[nameOf(RESTARTED)];
    QVERIFY(takeUntil(poll, [&] { return restarted.values >= 10 * WORDS; }));
    const int errorsBefore = restarted.errors;
    const auto before = support::Resources::of(poll.pid());

    controllers.back()->signal(SIGTERM);
    QCOMPARE(controllers.back()->end().exitCode, 0);
    QVERIFY(takeUntil(poll, [&] { return restarted.errors >= errorsBefore + 3 * WORDS; }));
    controllers.back() = controller(RESTARTED);
    QVERIFY(takeUntil(poll, [&] { return restarted.valuesSinceError >= 10 * WORDS; }));
    QVERIFY(!support::Resources::of(poll.pid()).hasGrownSince(before, 512));

    poll.signal(SIGINT);
    const support::Outcome outcome = poll.end();
    QVERIFY2(outcome.exitCode == 0, qPrintable(outcome.errors));
    QVERIFY(outcome.output.isEmpty() || outcome.output.endsWith('\n'));
    for (const QString& line : outcome.output.split('\n', Qt::SkipEmptyParts))
        m_rows[line.section(',', 1, 1)]
            .*(line.section(',', 3, 3).isEmpty() ? &Rows::errors : &Rows::values) += 1;
    for (int link = 1; link <= LINKS; ++link) {
        const Rows& rows = m_rows[nameOf(link)];
        QVERIFY2(outcome.errors.contains(
                     QStringLiteral("%1 values, %2 errors").arg(rows.values).arg(rows.errors)),
                 qPrintable(nameOf(link) + ": " + outcome.errors));
        QCOMPARE((rows.values + rows.errors) % WORDS, 0);
    }
}

QTEST_GUILESS_MAIN(TestPoll)
#include "tst_poll.moc"
