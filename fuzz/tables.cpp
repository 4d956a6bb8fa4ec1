// Any text as the description of a controller: it is refused in one line, or gives data
// files within the limits that the description promises.
#include "harness.h"

#include "simulator/controller.h"
#include "simulator/tablesfile.h"
#include "support/bytes.h"

/// Qt 5.15 leaks a value where a JSON object names it twice.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libQt5Core";
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const quint32 seed = 1;
    const QByteArray json = Input(data, size).rest();
    QString error;
    const auto description = simulator::parseTables(json, seed, &error);
    REQUIRE(description.has_value() == error.isEmpty());
    if (!description) {
        REQUIRE(!error.contains('\n'));
        return 0;
    }
    const simulator::Model& model = description->model;
    REQUIRE(!model.catalogueNumber.isEmpty() && model.catalogueNumber.size() <= 11);
    REQUIRE(model.series >= 'A' && model.series <= 'H');
    for (const auto& [number, file] : description->tables.files()) {
        REQUIRE(number >= 0 && number <= 255);
        REQUIRE(file.elements() >= 1 && file.elements() <= 4096);
    }
    if (model.countersFile)
        REQUIRE(description->tables.file(*model.countersFile) != nullptr);
    REQUIRE(simulator::parseTables(json, seed, &error)->tables == description->tables);

    simulator::Controller controller(description->tables, model);
    const QByteArray status = controller.execute(hex("010006001234 03"));
    REQUIRE(status.size() == 6 + 24);
    return 0;
}
