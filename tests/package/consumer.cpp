#include <QCoreApplication>
#include <cstdio>

#include "drivers/df1/framing.h"
#include "host/driverloader.h"
#include "simulator/server.h"

// Catches: a header, library or dependency that is missing from what is installed.
int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const host::DriverLoader loader(QStringLiteral(PLUGIN));
    if (loader.driver() == nullptr) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.error()));
        return 1;
    }
    std::puts(qPrintable(loader.driver()->name()));
    QByteArray data("\x10", 1);
    DF1EscapeDLE(data, 0, data.size());
    const simulator::PtyServer server{
        simulator::Controller(simulator::seededTables(1))}; // for the linker
    return data == QByteArray("\x10\x10", 2) ? 0 : 1;
}
