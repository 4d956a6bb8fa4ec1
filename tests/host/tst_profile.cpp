#include <QTemporaryDir>
#include <QtTest>

#include "host/profile.h"
#include "support/named.h"

using host::LinkProfile;
using host::LinkProfiles;

class TestProfile : public QObject
{
    Q_OBJECT

private slots:
    void reads();
    void refuses();
    void tellsNamesFromAddresses();
    void findsTheFile();
};

// Catches: a key that goes into another's field, and what is left out taken for 0.
void TestProfile::reads()
{
    QString error;
    const auto links = host::parseProfiles(
        R"({ "press4": { "port": "/dev/ttyUSB0", "line": "9600,EVEN,8,1", "station": 4, "self": 5,
                         "timeout": 800, "retry": 1, "delay": 20, "limit": 82 },
             "oven": { "port": "tcp://plc:4001" } })",
        &error);
    QVERIFY2(links, qPrintable(error));
    QCOMPARE(namesOf(*links), QString("oven, press4"));
    const auto text = [](const LinkProfile& link) {
        QString numbers = link.port + ' ' + link.line.value_or("-");
        for (const auto& number :
             {link.station, link.self, link.timeoutMs, link.retry, link.delayMs, link.limit})
            numbers += ' ' + (number ? QString::number(*number) : QString('-'));
        return numbers;
    };
    QCOMPARE(text(links->at("press4")), QString("/dev/ttyUSB0 9600,EVEN,8,1 4 5 800 1 20 82"));
    QCOMPARE(text(links->at("oven")), QString("tcp://plc:4001 - - - - - - -"));
}

// Catches: a mistake in the file that is passed over, or told without its place or remedy.
void TestProfile::refuses()
{
    const std::pair<const char*, const char*> rows[] = {
        {"", "line 1, column 1: no JSON"},
        {"{\n \"a\": }", "line 2, column "},
        {"[]", "must hold one object"},
        {R"({"N7": {"port": "sim"}})", "N7: a link is called by a letter"},
        {R"({"a": "sim"})", "a: must be an object"},
        {R"({"a": {"station": 1}})", "a: its port is missing, such as"},
        {R"({"a": {"port": ""}})", "a.port: must be a text"},
        {R"({"a": {"port": 1}})", "a.port: must be a text"},
        {R"({"a": {"prot": "sim"}})", "a.prot: unknown key; there are port, line, station, self"},
        {R"({"a": {"port": "sim", "line": "9600"}})", "a.line: bad line settings '9600'"},
        {R"({"a": {"port": "sim", "station": 255}})", "a.station: must be a whole number from 0"},
        {R"({"a": {"port": "sim", "station": "1"}})", "a.station: must be a whole number from 0"},
        {R"({"a": {"port": "sim", "retry": 1.5}})", "a.retry: must be a whole number from 0"},
        {R"({"a": {"port": "sim", "timeout": 1e30}})", "a.timeout: must be a whole number from 1"},
    };
    for (const auto& [json, message] : rows) {
        QString error;
        QVERIFY2(!host::parseProfiles(json, &error), json);
        QVERIFY2(error.startsWith(message), qPrintable(named(json, error)));
    }
}

// Catches: an address that is looked up as a link, or a link that is read as an address.
void TestProfile::tellsNamesFromAddresses()
{
    for (const char* const name : {"press4", "b", "plc-2", "B3oven", "Line_1", "N7b"})
        QCOMPARE(host::isLinkName(name), QByteArray(name) != "b");
    for (const char* const other : {"", "N7:0", "N7", "f8", "O", "4press", "press.4", "a b", "a\n",
                                    "/dev/ttyUSB0", "\xC3\xA4"})
        QVERIFY2(!host::isLinkName(QString::fromUtf8(other)), other);
}

// Catches: the user's own file passed over for the system's, and a fault without its file.
void TestProfile::findsTheFile()
{
    const QTemporaryDir directory;
    const QString system = directory.filePath("system/micrologix/links.json");
    const QString own = directory.filePath("own/micrologix/links.json");
    qputenv("XDG_CONFIG_HOME", directory.filePath("own").toUtf8());
    qputenv("XDG_CONFIG_DIRS", directory.filePath("system").toUtf8());
    QCOMPARE(host::defaultProfileFile(), own);
    QString error;
    QVERIFY(!host::loadProfiles(own, &error));
    QVERIFY2(error.startsWith(own + ": No such file"), qPrintable(error));
    for (const QString& path : {system, own}) {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("[]") == 2);
        file.close();
        QCOMPARE(host::defaultProfileFile(), path);
    }
    QVERIFY(!host::loadProfiles(own, &error));
    QVERIFY2(error.startsWith(own + ": must hold"), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestProfile)
#include "tst_profile.moc"
