// Any text as a link or as line settings: settings that are taken come out of their own
// text again, everything else is refused in one line.
#include "harness.h"

#include <QCoreApplication>
#include <QFileInfo>

#include "host/link.h"

namespace {

void checkLine(const QString& text)
{
    QString error;
    const auto line = host::LineSettings::parse(text, &error);
    REQUIRE(line.has_value() == error.isEmpty());
    if (!line) {
        REQUIRE(error.startsWith("bad line settings '") && error.contains("19200,NONE,8,1"));
        return;
    }
    QStringList fields = text.split(',');
    for (QString& field : fields) {
        bool isNumber = false;
        const int number = field.toInt(&isNumber);
        field = isNumber ? QString::number(number) : field.trimmed().toUpper();
    }
    REQUIRE(line->toText() == fields.join(','));
    const auto again = host::LineSettings::parse(line->toText());
    REQUIRE(again && again->toText() == line->toText());
    REQUIRE(line->secondsPerByte() > 0 && line->secondsPerByte() < 1);
}

/// Only texts that can't name anything: neither devices nor networks are touched.
void checkLink(QString text)
{
    for (char digit = '1'; digit <= '9'; ++digit)
        text.replace(digit, '0'); // there is no TCP port 0
    const QString path = text.trimmed();
    if (QFileInfo::exists(path) || QFileInfo::exists("/dev/" + path))
        return;
    QString error;
    REQUIRE(host::Link::open(text, host::LineSettings(), host::PortSettings(), &error, 1)
            == nullptr);
    REQUIRE(error.startsWith("cannot open "));
}

}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static int argc = 0;
    static QCoreApplication application(argc, nullptr);
    const QString text = QString::fromUtf8(Input(data, size).rest());
    checkLine(text);
    checkLink(text);
    return 0;
}
