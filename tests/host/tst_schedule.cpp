#include <QtTest>

#include "host/schedule.h"

using namespace host;

class TestSchedule : public QObject
{
    Q_OBJECT

private slots:
    void keepsItsRaster();
    void pausesGrow();
};

// Catches: drift by late beginnings, and missed instants that are made up for or not
// counted.
void TestSchedule::keepsItsRaster()
{
    Schedule schedule(1000, 500);
    const struct
    {
        qint64 now, missed, due;
    } rows[] = {
        {1000, 0, 1500}, {1520, 0, 2000}, {2499, 0, 2500}, {3000, 1, 3500}, {5999, 4, 6000}};
    for (const auto& row : rows) {
        QCOMPARE(schedule.begin(row.now), row.missed);
        QCOMPARE(schedule.due(), row.due);
    }
}

// Catches: pauses that stay short, grow without end, or stay long once all is well.
void TestSchedule::pausesGrow()
{
    Backoff backoff(500, 3000);
    for (const qint64 pause : {500, 1000, 2000, 3000, 3000})
        QCOMPARE(backoff.next(), pause);
    backoff.reset();
    QCOMPARE(backoff.next(), qint64(500));
    QCOMPARE(Backoff(500, 100).next(), qint64(100));
}

QTEST_APPLESS_MAIN(TestSchedule)
#include "tst_schedule.moc"
