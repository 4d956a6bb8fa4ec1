// What a program must not use up.
#pragma once

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace support {

struct Resources
{
    int kilobytes;   ///< resident
    int descriptors; ///< open

    static Resources now() { return of(::getpid()); }
    static Resources of(pid_t process)
    {
        const QString folder = QString("/proc/%1/").arg(process);
        QFile file(folder + "statm");
        file.open(QIODevice::ReadOnly);
        const int pages = file.readAll().split(' ').at(1).toInt();
        file.close();
        const auto all = QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot;
        return {4 * pages, static_cast<int>(QDir(folder + "fd").entryList(all).size())};
    }

    /// By more than a connection, or more kilobytes than @p slack, of which the
    /// sanitizers keep many, and an emulator for what it has translated.
    bool hasGrownSince(const Resources& before, int slack = 2048) const
    {
#if defined(__SANITIZE_ADDRESS__) || defined(EMULATED)
        slack += 1 << 20;
#endif
        return descriptors > before.descriptors + 4 || kilobytes > before.kilobytes + slack;
    }
};

}
