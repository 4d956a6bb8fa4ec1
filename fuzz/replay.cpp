// Runs a harness over stored inputs: `replay FILE`. A line is one input, printable
// ASCII as it is and the rest as \xNN; lines that begin with # are comments.
#include "harness.h"

#include <QFile>

namespace {

QByteArray unescaped(const QByteArray& line)
{
    QByteArray bytes;
    for (int at = 0; at < line.size(); ++at) {
        if (line.at(at) == '\\') {
            bytes += QByteArray::fromHex(line.mid(at + 2, 2));
            at += 3;
        } else {
            bytes += line.at(at);
        }
    }
    return bytes;
}

}

int main(int argc, char** argv)
{
    QFile file(QString::fromLocal8Bit(argc == 2 ? argv[1] : ""));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "can't read the inputs; give their file\n");
        return 2;
    }
    int count = 0;
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        if (lines.at(i).startsWith('#') || i + 1 == lines.size())
            continue;
        const QByteArray input = unescaped(lines.at(i));
        std::fprintf(stderr, "line %d\n", i + 1); // the last one is the one that fails
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.constData()),
                               static_cast<std::size_t>(input.size()));
        ++count;
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
