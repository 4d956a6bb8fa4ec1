// What a program must not use up.
#pragma once

#include <QDir>
#include <QFile>

namespace support {

struct Resources
{
    int kilobytes;   ///< resident
    int descriptors; ///< open

    static Resources now()
    {
        QFile file("/proc/self/statm");
        file.open(QIODevice::ReadOnly);
        const int pages = file.readAll().split(' ').at(1).toInt();
        file.close();
        const auto all = QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot;
        return {4 * pages, static_cast<int>(QDir("/proc/self/fd").entryList(all).size())};
    }

    /// By more than a connection and 2 MB; the memory of a program under the sanitizers
    /// grows by itself.
    bool hasGrownSince(const Resources& before) const
    {
#if defined(__SANITIZE_ADDRESS__)
        const int slack = 1 << 20;
#else
        const int slack = 2048;
#endif
        return descriptors > before.descriptors + 4 || kilobytes > before.kilobytes + slack;
    }
};

}
