#include <QtTest>

#include "host/tagaddress.h"
#include "support/rows.h"

namespace {

/// "N7:5.0/3": letter, file, element, word and, if there is one, bit.
QString shownPlace(const std::optional<host::DataPlace>& place)
{
    if (!place)
        return QStringLiteral("none");
    const QString text = QStringLiteral("%1%2:%3.%4")
                             .arg(QLatin1Char(place->letter))
                             .arg(place->file)
                             .arg(place->element)
                             .arg(place->word);
    return place->bit ? text + QLatin1Char('/') + QString::number(*place->bit) : text;
}

}

class TestTagAddress : public QObject
{
    Q_OBJECT

private slots:
    void findsThePlace();
};

// Catches: a value looked for in another file, element, word or bit than the driver
// would read, and a place for what the driver refuses.
void TestTagAddress::findsThePlace()
{
    const struct
    {
        const char* text;
        const char* place;
    } rows[] = {
        {"N7:5", "N7:5.0"},
        {"n7:5", "N7:5.0"},
        {"F8:1", "F8:1.0"},
        {"O:3", "O0:3.0"},
        {"I9:3", "I1:3.0"},
        {"S2:1/15", "S2:1.0/15"},
        {"B3:2/5", "B3:2.0/5"},
        {"B3:2/37", "B3:4.0/5"},
        {"T4:0", "T4:0.0"},
        {"T4:1/16", "T4:2.0/0"},
        {"T4:2.ACC/17", "T4:3.2/1"},
        {"t4:7.pre", "T4:7.1"},
        {"R6:2.POS", "R6:2.2"},
        {"R6:2.LEN", "R6:2.1"},
        {"T4:0/DN", "T4:0.0/13"},
        {"C5:1/UA", "C5:1.0/10"},
        {"R6:0/er", "R6:0.0/11"},
        {"N7", "none"},
        {"L9:0", "none"},
        {"ST9:0", "none"},
        {"F8:1/3", "none"},
        {"N7:0/DN", "none"},
        {"N7:0.ACC", "none"},
        {"T4:0.ACC/DN", "none"},
        {"B3:65535/16", "none"},
        {"N7:0 ", "none"},
        {"", "none"},
        {"N7:65535/15", "N7:65535.0/15"},
    };
    for (const auto& row : rows) {
        QString error;
        const auto address = host::TagAddress::parse(QString::fromLatin1(row.text), &error);
        QVERIFY2(address, qPrintable(error));
        ROW_COMPARE(row.text, shownPlace(address->place()), QString::fromLatin1(row.place));
    }
}

QTEST_APPLESS_MAIN(TestTagAddress)
#include "tst_tagaddress.moc"
