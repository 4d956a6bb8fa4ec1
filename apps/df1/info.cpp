#include "info.h"

#include <CLI/CLI.hpp>
#include <QJsonDocument>
#include <QJsonObject>
#include <memory>

#include "connection.h"
#include "drivers/drv_dev_setting.h"
#include "output.h"

namespace {

struct InfoOptions
{
    std::string plugin;
    OutputOptions output;
};

QJsonObject portRecord(DriverInterface& driver)
{
    const std::unique_ptr<DeviceSetting> port(driver.getDefaultSerialDeviceSetting());
    return {{"type", static_cast<int>(port->type)}, {"name", port->string},
            {"baudrate", port->baudrate},           {"databits", port->databits},
            {"stopbits", port->stopbits},           {"parity", port->parity}};
}

QJsonObject driverRecord(DriverInterface& driver)
{
    const std::unique_ptr<DriverSetting> setting(driver.getDefaultDriverSetting());
    return {{"timeout", setting->timeout},
            {"retry", setting->retry},
            {"station", setting->stationid},
            {"delay", setting->delay}};
}

QJsonObject describe(const host::DriverLoader& loader)
{
    DriverInterface& driver = *loader.driver();
    return {{"file", loader.fileName()},
            {"name", driver.name()},
            {"vendor", driver.vender()},
            {"version", driver.getVersionNumber()},
            {"interface", loader.interfaceId()},
            {"qt", loader.builtForQt()},
            {"verification", loader.verificationText()},
            {"line", driver.getStringBasedDefaultDriverSetting()},
            {"port", portRecord(driver)},
            {"driver", driverRecord(driver)},
            {"flags", driver.supportedCommunicationFlags()},
            {"totalSize", driver.totalSize()},
            {"blockSize", driver.getBlockAccessSize()},
            {"bitBlockSize", driver.getBitBlockAccessSize()}};
}

/// "type 16, name COM2, ..." in the order given.
QString listOf(const QJsonObject& record, const QStringList& keys)
{
    QStringList items;
    for (const QString& key : keys)
        items << key + QLatin1Char(' ') + record.value(key).toVariant().toString();
    return items.join(QStringLiteral(", "));
}

QByteArray textOf(const QJsonObject& info)
{
    QString text;
    const auto line = [&](const char* label, const QString& value) {
        text += QString::fromLatin1(label).leftJustified(16) + value + QLatin1Char('\n');
    };
    const auto plain = [&](const char* label, const char* key) {
        line(label, info.value(QLatin1String(key)).toVariant().toString());
    };
    plain("File", "file");
    plain("Name", "name");
    plain("Vendor", "vendor");
    plain("Version", "version");
    plain("Interface", "interface");
    plain("Built for Qt", "qt");
    plain("Default line", "line");
    line("Default port", listOf(info.value("port").toObject(),
                                {"type", "name", "baudrate", "databits", "stopbits", "parity"}));
    line("Default driver",
         listOf(info.value("driver").toObject(), {"timeout", "retry", "station", "delay"}));
    plain("Port kinds", "flags");
    plain("Total size", "totalSize");
    plain("Block size", "blockSize");
    plain("Bit block size", "bitBlockSize");
    line("Verification", info.value("verification").toString().replace('\n', "\n                "));
    return text.toUtf8();
}

/// One row for each property; those of a record as "record.property".
void addRows(Table& table, const QJsonObject& record, const QString& prefix = QString())
{
    for (const QString& key : record.keys()) {
        const QJsonValue value = record.value(key);
        if (value.isObject())
            addRows(table, value.toObject(), prefix + key + QLatin1Char('.'));
        else
            table.rows.push_back(
                {Cell::text(prefix + key), Cell::text(value.toVariant().toString())});
    }
}

ExitCode runInfo(const InfoOptions& options)
{
    const host::DriverLoader loader(pluginPath(options.plugin));
    if (loader.driver() == nullptr)
        throw Failure(ExitCode::Usage, loader.error());
    const QJsonObject info = describe(loader);
    const Format format = options.output.format();
    if (format == Format::Csv) {
        Table table{{{"property"}, {"value"}}, {}};
        addRows(table, info);
        printTables({table}, format);
    } else {
        print(format == Format::Json ? QJsonDocument(info).toJson() : textOf(info));
    }
    return ExitCode::Success;
}

}

void addInfoVerb(CLI::App& app, std::function<ExitCode()>& run)
{
    const auto options = std::make_shared<InfoOptions>();
    CLI::App* const verb = app.add_subcommand("info", "Show what the driver plugin says of itself");
    verb->add_option("--plugin", options->plugin,
                     "Driver plugin to load instead of the installed one")
        ->type_name("FILE");
    options->output.addFormatTo(*verb);
    verb->add_flag_callback(
            "--json", [options] { options->output.formatName = "json"; },
            "The same as --format json")
        ->group("Output");
    verb->footer("Examples:\n"
                 "  df1 info\n"
                 "  df1 info --json");
    verb->callback([options, &run] { run = [options] { return runInfo(*options); }; });
}
