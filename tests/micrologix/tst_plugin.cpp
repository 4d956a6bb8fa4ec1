#include <QPluginLoader>
#include <QPointer>
#include <QtTest>
#include <dlfcn.h>
#include <memory>

#include "drivers/driverinterface.h"
#include "drivers/drv_dev_setting.h"
#include "support/resources.h"

/// The library as a host sees it: a file, three symbols and the contract's headers.
class TestPlugin : public QObject
{
    Q_OBJECT

private slots:
    // RTLD_NOW: an undefined symbol shows here instead of killing a host later.
    void initTestCase()
    {
        m_library = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
        QVERIFY2(m_library != nullptr, dlerror());
    }

    void cleanupTestCase() { QCOMPARE(dlclose(m_library), 0); }

    // Catches: a second instance beside the first, and a dangling one after delete.
    void givesOneInstanceUntilItIsDeleted()
    {
        auto* const instance = symbol<QObject*()>("qt_plugin_instance");
        QVERIFY(instance != nullptr);
        const QPointer<QObject> first = instance();
        QCOMPARE(instance(), first.data());
        QCOMPARE(first->metaObject()->className(), "DriverABMicroLogix");

        delete first;
        QVERIFY(first.isNull());
        const std::unique_ptr<QObject> second(instance());
        auto* const driver = qobject_cast<DriverInterface*>(second.get());
        QVERIFY(driver != nullptr && driver->getThisObject() == second.get());
    }

    // Catches: CreateDriver handing out the shared instance, a verification text that
    // a panel's loader would refuse.
    void carriesTheEntryPointsOfPanels()
    {
        auto* const create = symbol<DriverInterface*()>("CreateDriver");
        QVERIFY(create != nullptr);
        const std::unique_ptr<DriverInterface> first(create()), second(create());
        QVERIFY(first != second);
        QCOMPARE(first->name(), QString("MicroLogix DF1 RS232"));

        auto* const text = symbol<const char*()>("qt_plugin_query_verification_data");
        QVERIFY(text != nullptr);
        QCOMPARE(text(), "pattern=QT_PLUGIN_VERIFICATION_DATA\n"
                         "version=" VERIFICATION_VERSION "\n"
                         "debug=false\n"
                         "buildkey=" VERIFICATION_BUILD_KEY);
    }

    // Catches: a file that can't leave the program again, and memory or descriptors that stay
    // behind. Ahead of Qt's loader, which keeps every plugin in the program.
    void comesAndGoesAThousandTimes()
    {
        support::Resources settled = {0, 0};
        for (int round = 0; round < 1000; ++round) {
            QCOMPARE(dlclose(m_library), 0);
            QVERIFY(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD) == nullptr);
            m_library = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL);
            QVERIFY2(m_library != nullptr, dlerror());
            auto* const create = symbol<DriverInterface*()>("CreateDriver");
            const std::unique_ptr<DriverInterface> driver(create());
            const std::unique_ptr<DriverSetting> setting(driver->getDefaultDriverSetting());
            QCOMPARE(setting->timeout, 500);
            if (round == 250)
                settled = support::Resources::now();
        }
        QVERIFY(!support::Resources::now().hasGrownSince(settled));
    }

    // Catches: plugin metadata lost together with the symbol that is hidden.
    void loadsThroughQt()
    {
        QPluginLoader loader(PLUGIN_FILE);
        auto* const driver = qobject_cast<DriverInterface*>(loader.instance());
        QVERIFY2(driver != nullptr, qPrintable(loader.errorString()));
        QCOMPARE(driver->getVersionNumber(), QString("1.0.0"));
        QVERIFY(loader.unload());
    }

private:
    template <typename Function>
    Function* symbol(const char* name)
    {
        return reinterpret_cast<Function*>(dlsym(m_library, name));
    }

    void* m_library = nullptr;
};

QTEST_GUILESS_MAIN(TestPlugin)
#include "tst_plugin.moc"
