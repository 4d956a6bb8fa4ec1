#include <QScopedPointer>
#include <QtTest>

#include "drivers/drv_dev_setting.h"
#include "drivers/micrologix/micrologix.h"
#include "support/rows.h"
#include "support/scriptedport.h"

class TestDriver : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a wrong default that a host would take over into a project, or that
    // changes under drivers that do not override it.
    void introducesItself()
    {
        DriverABMicroLogix driver;
        QCOMPARE(driver.name() + "; " + driver.vender() + "; " + driver.getVersionNumber(),
                 QString("MicroLogix DF1 RS232; Allen Bradley; 1.0.0"));
        QCOMPARE(driver.getStringBasedDefaultDriverSetting(), QString("RS232,19200,NONE,8,1"));
        QCOMPARE(driver.DriverInterface::name(), QString("Not Assigned"));
        QCOMPARE(driver.DriverInterface::vender(), QString("Not Assigned"));
        QCOMPARE(driver.DriverInterface::getVersionNumber(), QString("Not Assigned"));
        QCOMPARE(driver.DriverInterface::getStringBasedDefaultDriverSetting(),
                 QString("RS232,9600,EVEN,7,1"));
        QVERIFY(!driver.isSupportSessionCommand() && driver.deviceSettingChanged(0)
                && driver.isConnected(0));
        QCOMPARE(driver.totalSize(), 1024);
        QCOMPARE(driver.getBlockAccessSize(), 1024);
        QCOMPARE(driver.getBitBlockAccessSize(), 1024);
        QCOMPARE(driver.supportedCommunicationFlags(), 16);
        QVERIFY(driver.initialize(0) && driver.validation("anything") == 0);
        driver.setDebugMode(true);
        driver.setSessionCommand(QList<CommunicatorCommand>() << CommunicatorCommand());
        driver.clearSessionCommand();
        QVERIFY(!driver.hasError() && driver.getTNS() == 0);

        const QScopedPointer<DeviceSetting> device(driver.getDefaultSerialDeviceSetting());
        QCOMPARE(device->string, QString("COM2"));
        QCOMPARE((QList<int>() << device->type << device->baudrate << device->databits
                               << device->stopbits << device->parity),
                 QList<int>() << 16 << 19200 << 8 << 0 << 0);
        const QScopedPointer<DriverSetting> setting(driver.getDefaultDriverSetting());
        QCOMPARE((QList<int>() << setting->timeout << setting->retry << setting->stationid
                               << setting->delay),
                 QList<int>() << 500 << 3 << 1 << 0);
    }

    // Catches: an interface that is not registered under its identifier, and a
    // cast that forgets the second base's offset.
    void castsToTheContract()
    {
        DriverABMicroLogix driver;
        DriverInterface* const contract = &driver;
        const struct
        {
            const char* name;
            void* object;
        } rows[] = {{"DriverABMicroLogix", &driver},
                    {"DriverInterface", contract},
                    {"com.tavelmor.drivers.DriverInterface/1.1", contract},
                    {"DriverInterface/1.0", 0}};
        for (const auto& row : rows)
            ROW_COMPARE(row.name, driver.qt_metacast(row.name) == row.object, true);
        QVERIFY(static_cast<void*>(contract) != static_cast<void*>(&driver));
        QCOMPARE(driver.metaObject()->className(), "DriverABMicroLogix");
        QCOMPARE(contract->getThisObject(), static_cast<QObject*>(&driver));
    }

    // Catches: a first number other than 1, and a 0 after 65535.
    void numbersTransactionsFromOneAndSkipsZero()
    {
        DriverABMicroLogix driver;
        QCOMPARE(int(driver.getTNS()), 0);
        for (int expected = 1; expected <= 65535; ++expected) {
            QCOMPARE(int(driver.getNextTNS()), expected);
            QCOMPARE(int(driver.getTNS()), expected);
        }
        QCOMPARE(int(driver.getNextTNS()), 1);
    }

    // Catches: a text lost with the flag, a flag that is never cleared, and a station
    // number cut at the wrong width.
    void keepsTheTextOfTheLastFailure()
    {
        DriverABMicroLogix driver;
        QVERIFY(!driver.hasError() && driver.getLastError().isNull());
        driver.setCommError("first");
        driver.setCommError("second");
        QVERIFY(driver.hasError());
        driver.clearError();
        QVERIFY(!driver.hasError());
        QCOMPARE(driver.getLastError(), QString("second"));

        ScriptedPort port;
        port.source = 0x1FE;
        QCOMPARE(int(driver.getSourceAddr(&port)), 0xFE);
    }

    // Catches: a size rule or a predicate tied to the wrong type code.
    void requestRecords()
    {
        // Type, count and size; then the position of the type's predicate.
        const int rows[][4] = {{0, 0, 1, 0}, {0, 8, 1, 0},  {0, 9, 2, 0},  {0, -1, 0x20000000, 0},
                               {1, 3, 3, 1}, {2, 3, 6, 2},  {3, 3, 12, 3}, {4, 3, 24, -1},
                               {5, 3, 3, 4}, {6, 9, 1, -1}, {7, 9, 1, -1}, {-1, 9, 1, -1}};
        for (const auto& row : rows) {
            const QByteArray name = "type " + QByteArray::number(row[0]);
            CommunicatorCommand c;
            ROW_COMPARE(name, c.type == 0 && c.count == 0 && c.hostData == 0 && c.address.isNull(),
                        true);
            c.type = row[0];
            c.count = row[1];
            c = CommunicatorCommand(c);
            ROW_COMPARE(name, c.getDataSize(), row[2]);
            const bool is[] = {isBitCommand(c), isByteCommand(c), isWordCommand(c),
                               isDoubleWordCommand(c), isBlockCommand(c)};
            for (int i = 0; i < 5; ++i)
                ROW_COMPARE(name, is[i], i == row[3]);
        }
        QVERIFY(!getBitData("\xFE") && getBitData("\x01") && !getBitData(QByteArray()));
    }
};

QTEST_APPLESS_MAIN(TestDriver)
#include "tst_driver.moc"
