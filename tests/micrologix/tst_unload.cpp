#include <QtTest>
#include <dlfcn.h>
#include <memory>

#include "drivers/driverinterface.h"
#include "drivers/drv_dev_setting.h"
#include "support/frames.h"
#include "support/requests.h"
#include "support/rows.h"
#include "support/scriptedport.h"

class TestUnload : public QObject
{
    Q_OBJECT

private slots:
    // Catches: a plugin that stays in the process or leaves something behind, and one
    // that works the first time only. Under valgrind: what it leaks.
    void worksEachTimeItIsLoaded()
    {
        for (int round = 0; round < 3; ++round) {
            void* const library = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
            QVERIFY2(library != nullptr, dlerror());
            use(reinterpret_cast<DriverInterface* (*)()>(dlsym(library, "CreateDriver"))());
            QCOMPARE(dlclose(library), 0);
            QVERIFY(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD) == nullptr);
        }
    }

private:
    static void use(DriverInterface* created)
    {
        const std::unique_ptr<DriverInterface> driver(created);
        const std::unique_ptr<DeviceSetting> device(driver->getDefaultSerialDeviceSetting());
        const std::unique_ptr<DriverSetting> setting(driver->getDefaultDriverSetting());
        QCOMPARE(device->baudrate + setting->timeout, 19700);

        ScriptedPort port;
        port.answer(hex("1006") + frameOf(hex("00014F0001003412")));
        port.answer(hex("1006") + frameOf(hex("00014F000200")));
        port.answer(hex("1006") + frameOf(hex("00014F000300 000000000800"))).answer(hex("4142"));
        QCOMPARE(driver->read(&port, request("2 1 N7:0")), hex("3412"));
        QVERIFY(driver->write(&port, request("0 1 B3:2/5"), hex("01")));
        QCOMPARE(driver->read(&port, request("0 1 T4:1.ACC/3")), hex("01"));
        QVERIFY(driver->read(&port, request("2 1 F8:0")).isEmpty() && driver->hasError());
    }
};

QTEST_APPLESS_MAIN(TestUnload)
#include "tst_unload.moc"
