#include <QScopedPointer>
#include <QtTest>

#include "drivers/drv_dev_setting.h"
#include "drivers/micrologix/micrologix.h"
#include "support/scriptedport.h"

class TestDriver : public QObject
{
    Q_OBJECT

private slots:
    void introducesItself();
    void castsToTheContract();
    void numbersTransactionsFromOneAndSkipsZero();
    void keepsTheTextOfTheLastFailure();
    void asksThePortForItsStation();
    void contractHasDefaults();
    void requestRecordSizes_data();
    void requestRecordSizes();
};

// Catches: a wrong default that a host would take over into a project.
void TestDriver::introducesItself()
{
    DriverABMicroLogix driver;
    QCOMPARE(driver.name(), QString("MicroLogix DF1 RS232"));
    QCOMPARE(driver.vender(), QString("Allen Bradley"));
    QCOMPARE(driver.getVersionNumber(), QString("1.0.0"));
    QCOMPARE(driver.getStringBasedDefaultDriverSetting(), QString("RS232,19200,NONE,8,1"));
    QCOMPARE(driver.totalSize(), 1024);
    QCOMPARE(driver.getBlockAccessSize(), 1024);
    QCOMPARE(driver.getBitBlockAccessSize(), 1024);
    QCOMPARE(driver.supportedCommunicationFlags(), 16);
    QCOMPARE(driver.validation("anything"), 0);
    QVERIFY(driver.initialize(0));

    const QScopedPointer<DeviceSetting> device(driver.getDefaultSerialDeviceSetting());
    QCOMPARE(static_cast<int>(device->type), 16);
    QCOMPARE(device->string, QString("COM2"));
    QCOMPARE(device->baudrate, 19200);
    QCOMPARE(device->databits, 8);
    QCOMPARE(device->stopbits, 0);
    QCOMPARE(device->parity, 0);

    const QScopedPointer<DriverSetting> setting(driver.getDefaultDriverSetting());
    QCOMPARE(setting->timeout, 500);
    QCOMPARE(setting->retry, 3);
    QCOMPARE(setting->stationid, 1);
    QCOMPARE(setting->delay, 0);
}

// Catches: an interface that is not registered under its identifier, and a
// cast that forgets the second base's offset.
void TestDriver::castsToTheContract()
{
    DriverABMicroLogix driver;
    DriverInterface* const contract = &driver;
    QCOMPARE(driver.metaObject()->className(), "DriverABMicroLogix");
    QCOMPARE(driver.qt_metacast("DriverABMicroLogix"), static_cast<void*>(&driver));
    QCOMPARE(driver.qt_metacast("DriverInterface"), static_cast<void*>(contract));
    QCOMPARE(driver.qt_metacast("com.tavelmor.drivers.DriverInterface/1.1"),
             static_cast<void*>(contract));
    QVERIFY(static_cast<void*>(contract) != static_cast<void*>(&driver));
    QCOMPARE(driver.qt_metacast("DriverInterface/1.0"), static_cast<void*>(0));
    QCOMPARE(contract->getThisObject(), static_cast<QObject*>(&driver));
}

// Catches: a first number other than 1, and a 0 after 65535.
void TestDriver::numbersTransactionsFromOneAndSkipsZero()
{
    DriverABMicroLogix driver;
    QCOMPARE(static_cast<int>(driver.getTNS()), 0);
    for (int expected = 1; expected <= 65535; ++expected) {
        if (driver.getNextTNS() != expected || driver.getTNS() != expected)
            QFAIL(qPrintable(QString::fromLatin1("wrong number at %1").arg(expected)));
    }
    QCOMPARE(static_cast<int>(driver.getNextTNS()), 1);
}

// Catches: a text lost with the flag, or a flag that is never cleared.
void TestDriver::keepsTheTextOfTheLastFailure()
{
    DriverABMicroLogix driver;
    QVERIFY(!driver.hasError());
    QVERIFY(driver.getLastError().isNull());
    driver.setCommError("first");
    driver.setCommError("second");
    QVERIFY(driver.hasError());
    driver.clearError();
    QVERIFY(!driver.hasError());
    QCOMPARE(driver.getLastError(), QString("second"));
}

// Catches: a station number cut at the wrong width.
void TestDriver::asksThePortForItsStation()
{
    DriverABMicroLogix driver;
    ScriptedPort port;
    port.source = 0x1FE;
    QCOMPARE(static_cast<int>(driver.getSourceAddr(&port)), 0xFE);
}

// Catches: a default that changes under drivers that do not override it.
void TestDriver::contractHasDefaults()
{
    class Bare : public DriverInterface
    {
    public:
        int totalSize() override { return 0; }
        bool write(AbstractDeviceInterface*, const CommunicatorCommand&, const QByteArray&) override
        {
            return false;
        }
        QByteArray read(AbstractDeviceInterface*, const CommunicatorCommand&) override
        {
            return QByteArray();
        }
        bool initialize(AbstractDeviceInterface*) override { return false; }
        int validation(const QString&) override { return 0; }
        DeviceSetting* getDefaultSerialDeviceSetting() override { return 0; }
        DriverSetting* getDefaultDriverSetting() override { return 0; }
        int supportedCommunicationFlags() override { return 0; }
        void setDebugMode(bool) override {}
        int getBlockAccessSize() override { return 0; }
        int getBitBlockAccessSize() override { return 0; }
        bool hasError() override { return false; }
        QString getLastError() override { return QString(); }
        QObject* getThisObject() override { return 0; }
    } driver;

    QCOMPARE(driver.name(), QString("Not Assigned"));
    QCOMPARE(driver.vender(), QString("Not Assigned"));
    QCOMPARE(driver.getVersionNumber(), QString("Not Assigned"));
    QCOMPARE(driver.getStringBasedDefaultDriverSetting(), QString("RS232,9600,EVEN,7,1"));
    QVERIFY(!driver.isSupportSessionCommand());
    QVERIFY(driver.deviceSettingChanged(0));
    QVERIFY(driver.isConnected(0));
}

void TestDriver::requestRecordSizes_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("size");
    QTest::addColumn<QString>("predicates");

    QTest::newRow("no bits") << 0 << 0 << 1 << "bit";
    QTest::newRow("eight bits") << 0 << 8 << 1 << "bit";
    QTest::newRow("nine bits") << 0 << 9 << 2 << "bit";
    QTest::newRow("bits, unsigned") << 0 << -1 << 0x20000000 << "bit";
    QTest::newRow("bytes") << 1 << 3 << 3 << "byte";
    QTest::newRow("words") << 2 << 3 << 6 << "word";
    QTest::newRow("double words") << 3 << 3 << 12 << "dword";
    QTest::newRow("64-bit units") << 4 << 3 << 24 << "";
    QTest::newRow("block") << 5 << 3 << 3 << "block";
    QTest::newRow("bit too") << 6 << 9 << 1 << "";
    QTest::newRow("unknown") << 7 << 9 << 1 << "";
    QTest::newRow("negative") << -1 << 9 << 1 << "";
}

// Catches: a size rule or a predicate tied to the wrong type code.
void TestDriver::requestRecordSizes()
{
    QFETCH(int, type);
    QFETCH(int, count);
    QFETCH(int, size);
    QFETCH(QString, predicates);

    CommunicatorCommand command;
    QVERIFY(command.type == 0 && command.count == 0 && command.address.isNull());
    command.type = type;
    command.count = count;
    QCOMPARE(command.getDataSize(), size);
    QCOMPARE(isBitCommand(command), predicates == "bit");
    QCOMPARE(isByteCommand(command), predicates == "byte");
    QCOMPARE(isWordCommand(command), predicates == "word");
    QCOMPARE(isDoubleWordCommand(command), predicates == "dword");
    QCOMPARE(isBlockCommand(command), predicates == "block");

    QVERIFY(!getBitData(QByteArray("\xFE")));
    QVERIFY(getBitData(QByteArray("\x01")));
    QVERIFY(!getBitData(QByteArray()));
}

QTEST_APPLESS_MAIN(TestDriver)
#include "tst_driver.moc"
