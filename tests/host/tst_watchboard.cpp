#include <QtTest>

#include "host/watchboard.h"

using namespace host;

namespace {

Tag tagFor(const char* address, double scale)
{
    QString error;
    Tag tag = tagAt(address, QString(), &error).value();
    tag.scale = scale;
    return tag;
}

Scan scanOf(std::optional<quint32> word, std::optional<quint32> real)
{
    Scan scan;
    scan.milliseconds = 12;
    for (const auto& [form, bits] : {std::pair(ValueForm::I16, word), {ValueForm::F32, real}})
        scan.values.push_back(bits ? PolledValue{{}, FormedValue{form, *bits}, {}}
                                   : PolledValue{{}, {}, "PLC no response"});
    return scan;
}

QString shown(const WatchBoard& board, qint64 now)
{
    QStringList rows;
    for (const WatchBoard::Row& row : board.rows(now))
        rows << QString("%1 %2%3 %4 %5 %6")
                    .arg(row.name, row.hasChanged ? "*" : "", row.value)
                    .arg(row.ageMs.value_or(-1))
                    .arg(sparkline(row.history, false), row.error);
    return rows.join('|').simplified();
}

}

class TestWatchBoard : public QObject
{
    Q_OBJECT

private slots:
    void followsTheScans();
    void sparklines();
};

// Catches: an old value shown as a new one, an age that starts again without a value, a
// change that is not seen or stays, a scale left out.
void TestWatchBoard::followsTheScans()
{
    constexpr quint32 one = 0x3F800000;
    WatchBoard board({tagFor("N7:0", 0.5), tagFor("F8:0", 1)});
    QCOMPARE(shown(board, 0), QString("N7:0 -1 |F8:0 -1"));
    board.take(scanOf(10, one), 1000);
    QCOMPARE(shown(board, 1200), QString("N7:0 5 200 1 |F8:0 1 200 1"));
    board.take(scanOf(12, one), 2000);
    QCOMPARE(shown(board, 2000), QString("N7:0 *6 0 18 |F8:0 1 0 11"));
    board.take(scanOf({}, {}), 3000);
    QCOMPARE(shown(board, 3000),
             QString("N7:0 6 1000 18 PLC no response|F8:0 1 1000 11 PLC no response"));
    board.take(scanOf(12, {}), 4000);
    QCOMPARE(shown(board, 4000), QString("N7:0 6 0 188 |F8:0 1 2000 11 PLC no response"));
    QCOMPARE(board.quality(), 62.5);
    for (int i = 0; i < 200; ++i)
        board.take(scanOf(12, one), 5000);
    QCOMPARE(board.quality(), 100.0);
    QCOMPARE(int(board.rows(0)[0].history.size()), WatchBoard::longestHistory);
}

// Catches: heights that are turned round or run off the scale.
void TestWatchBoard::sparklines()
{
    QCOMPARE(sparkline({-1, 0, 1, 7}, false), QString("1238"));
    QCOMPARE(sparkline({0, 1}, true), QString(QChar(0x2581)) + QChar(0x2588));
    QCOMPARE(sparkline({3, 3}, false), QString("11"));
    QCOMPARE(sparkline({}, false), QString());
}

QTEST_APPLESS_MAIN(TestWatchBoard)
#include "tst_watchboard.moc"
