#include <QtTest>

#include <QPointer>
#include <QTemporaryDir>

#include "host/driverloader.h"
#include "support/requests.h"
#include "support/scriptedport.h"

class TestDriverLoader : public QObject
{
    Q_OBJECT

private slots:
    void refuses_data();
    void refuses();
    void ownsTheDriver();
    void makesFurtherDrivers();
    void beginsWhereNoProgramEnded();
    void defaultPath();
    void prefersTheInstalledPlace();
};

void TestDriverLoader::refuses_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("fault");

    QTest::newRow("no file") << "/nonexistent/lib.so"
                             << "cannot load driver '/nonexistent/lib.so': no such file; give";
    QTest::newRow("no name") << ""
                             << "cannot load driver '': no such file; give";
    QTest::newRow("directory") << "/"
                               << "it is not a file; give";
    QTest::newRow("no plugin") << "/etc/passwd"
                               << "is not a";
    QTest::newRow("another kind") << OTHER_PLUGIN_FILE
                                  << "it is a plugin of another kind, 'example.other/1.0', where "
                                     "'com.tavelmor.drivers.DriverInterface/1.1' is expected; give";
}

// Catches: a wrong file taken for a driver, or refused without saying why.
void TestDriverLoader::refuses()
{
    QFETCH(QString, path);
    QFETCH(QString, fault);

    const host::DriverLoader loader(path);
    QVERIFY(loader.driver() == nullptr);
    QVERIFY2(loader.error().contains(fault), qPrintable(loader.error()));
    QVERIFY(!loader.error().contains('\n'));
}

// Catches: a driver that outlives its loader, or goes while another one uses it.
void TestDriverLoader::ownsTheDriver()
{
    QPointer<QObject> driver;
    for (int round = 0; round < 2; ++round) {
        {
            const host::DriverLoader first(MICROLOGIX_FILE);
            QVERIFY2(first.driver() != nullptr, qPrintable(first.error()));
            QCOMPARE(first.error(), QString());
            QCOMPARE(first.interfaceId(), QString("com.tavelmor.drivers.DriverInterface/1.1"));
            QVERIFY(QString(qVersion()).startsWith(first.builtForQt() + '.'));
            QVERIFY(first.verificationText().startsWith("pattern=QT_PLUGIN_VERIFICATION_DATA\n"));
            driver = first.driver()->getThisObject();
            const host::DriverLoader second(MICROLOGIX_FILE);
            QCOMPARE(second.driver(), first.driver());
        }
        QVERIFY(driver.isNull());
    }
    auto first = std::make_unique<host::DriverLoader>(MICROLOGIX_FILE);
    const host::DriverLoader second(MICROLOGIX_FILE);
    driver = second.driver()->getThisObject();
    first.reset();
    QVERIFY(!driver.isNull());
}

// Catches: further drivers that share the first one's state, and a file without an entry
// point for them that is called nevertheless.
void TestDriverLoader::makesFurtherDrivers()
{
    const host::DriverLoader loader(MICROLOGIX_FILE);
    QString error;
    const auto one = loader.create(&error);
    const auto other = loader.create(&error);
    QVERIFY2(one && other, qPrintable(error));
    QVERIFY(one != other && one.get() != loader.driver());
    host::scatterTransactionNumbers(*one);
    QCOMPARE(one->getLastError(), QString("PLC no response"));
    QVERIFY(other->getLastError().isNull());
    QVERIFY(!host::DriverLoader(OTHER_PLUGIN_FILE).create(&error));
    QVERIFY2(error.contains("exports no CreateDriver"), qPrintable(error));
}

// Catches: a program whose first request carries the number of the last one of the program
// before it, which a controller discards.
void TestDriverLoader::beginsWhereNoProgramEnded()
{
    const host::DriverLoader loader(MICROLOGIX_FILE);
    QSet<QByteArray> numbers;
    const int programs = 50;
    for (int i = 0; i < programs; ++i) {
        QTest::qSleep(4);
        QString error;
        const auto driver = loader.create(&error);
        host::scatterTransactionNumbers(*driver);
        ScriptedPort port;
        driver->read(&port, request(2, 2, "N7:0"));
        numbers << port.sent.at(0);
    }
    QCOMPARE(numbers.size(), programs);
}

// Catches: a default that misses the build tree, or ignores the variable.
void TestDriverLoader::defaultPath()
{
    qunsetenv("MICROLOGIX_PLUGIN");
    QCOMPARE(QFileInfo(host::defaultDriverPath()), QFileInfo(MICROLOGIX_FILE));
    qputenv("MICROLOGIX_PLUGIN", "/opt/other.so");
    QCOMPARE(host::defaultDriverPath(), QString("/opt/other.so"));
    qunsetenv("MICROLOGIX_PLUGIN");
}

// Catches: an installed program that looks for its plugin in a build folder.
void TestDriverLoader::prefersTheInstalledPlace()
{
    const QTemporaryDir prefix;
    const QString bin = prefix.filePath("bin");
    const QString built = prefix.filePath("lib/libmicrologix.so");
    const QString installed = QDir::cleanPath(bin + "/" PLUGIN_FROM_PROGRAM);
    QCOMPARE(host::defaultDriverPath(bin), installed);
    for (const QString& place : {built, installed}) {
        QVERIFY(QDir().mkpath(QFileInfo(place).path()));
        QVERIFY(QFile(place).open(QIODevice::WriteOnly));
        QCOMPARE(host::defaultDriverPath(bin), place);
    }
}

QTEST_GUILESS_MAIN(TestDriverLoader)
#include "tst_driverloader.moc"
