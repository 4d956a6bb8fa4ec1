#include <QtTest>

#include "simulator/life.h"
#include "simulator/models.h"

using namespace simulator;

namespace {

// One timer or counter, its words at a time as hex.
struct Course
{
    Course(FileType type, quint16 control, quint16 preset, quint16 accumulated)
    {
        DataFile& file = tables.add(4, type, 1);
        file.setWord(0, 0, control);
        file.setWord(0, 1, preset);
        file.setWord(0, 2, accumulated);
        life.advance(tables, 5000);
    }

    QByteArray at(qint64 milliseconds)
    {
        life.advance(tables, 5000 + milliseconds);
        const DataFile& file = *tables.file(4);
        return QByteArray::number(*file.word(0, 0), 16) + ' '
               + QByteArray::number(static_cast<qint16>(*file.word(0, 2)));
    }

    DataTables tables;
    Life life;
};

}

class TestLife : public QObject
{
    Q_OBJECT

private slots:
    void elements_data();
    void elements();
    void wordsAndFloats();
    void restsInProgramMode();
};

void TestLife::elements_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("control");
    QTest::addColumn<int>("preset");
    QTest::addColumn<int>("accumulated");
    QTest::addColumn<int>("time");
    QTest::addColumn<QByteArray>("expected");

    const int T = static_cast<int>(FileType::Timer);
    const int C = static_cast<int>(FileType::Counter);
    QTest::newRow("off") << T << 0x6000 << 30 << 12 << 50 << QByteArray("0 0");
    QTest::newRow("before a tick") << T << 0x8000 << 30 << 0 << 9 << QByteArray("c000 0");
    QTest::newRow("first tick") << T << 0x8000 << 30 << 0 << 10 << QByteArray("c000 1");
    QTest::newRow("from ACC on") << T << 0x8000 << 30 << 7 << 30 << QByteArray("c000 10");
    QTest::newRow("before PRE") << T << 0x8000 << 30 << 0 << 299 << QByteArray("c000 29");
    QTest::newRow("done") << T << 0xC000 << 30 << 0 << 300 << QByteArray("a000 30");
    QTest::newRow("stays done") << T << 0x8000 << 30 << 0 << 999 << QByteArray("a000 30");
    QTest::newRow("again") << T << 0x8000 << 30 << 0 << 1000 << QByteArray("c000 0");
    QTest::newRow("second round") << T << 0x8000 << 30 << 0 << 1110 << QByteArray("c000 11");
    QTest::newRow("1 s before") << T << 0x8100 << 3 << 0 << 2999 << QByteArray("c100 2");
    QTest::newRow("1 s done") << T << 0x8100 << 3 << 0 << 3000 << QByteArray("a100 3");
    QTest::newRow("1 s again") << T << 0x8100 << 3 << 0 << 5000 << QByteArray("c100 1");
    QTest::newRow("no PRE") << T << 0x8000 << 0 << 0 << 500 << QByteArray("a000 0");
    QTest::newRow("a day") << T << 0x8000 << 30 << 0 << 86400120 << QByteArray("c000 12");
    QTest::newRow("counts") << C << 0 << 3 << 0 << 2499 << QByteArray("8000 2");
    QTest::newRow("CU off") << C << 0 << 3 << 0 << 2500 << QByteArray("0 2");
    QTest::newRow("count done") << C << 0x1 << 3 << 0 << 3000 << QByteArray("a001 3");
    QTest::newRow("overflow") << C << 0 << 3 << 32766 << 2500 << QByteArray("1000 -32768");
}

// Catches: a tick, PRE or a restart missed or met early, and a course that depends on
// how often it is looked at.
void TestLife::elements()
{
    QFETCH(int, type);
    QFETCH(int, control);
    QFETCH(int, preset);
    QFETCH(int, accumulated);
    QFETCH(int, time);
    QFETCH(QByteArray, expected);
    const auto course = [&] {
        return Course(static_cast<FileType>(type), static_cast<quint16>(control),
                      static_cast<quint16>(preset), static_cast<quint16>(accumulated));
    };
    QCOMPARE(course().at(time), expected);
    Course watched = course();
    const int step = std::max(3, time / 10000);
    for (int passed = 0; passed < time; passed += step)
        watched.at(passed);
    QCOMPARE(watched.at(time), expected);
}

// Catches: a toggle lost between two looks, and a sine that drifts.
void TestLife::wordsAndFloats()
{
    DataTables tables;
    tables.add(1, FileType::Input, 2).setWord(0, 0, 0x0F0F);
    tables.add(8, FileType::Float, 2);
    Life life;
    const auto at = [&](qint64 now) {
        life.advance(tables, now);
        return QString("%1 %2")
            .arg(*tables.file(1)->word(0), 4, 16)
            .arg(static_cast<double>(*tables.file(8)->real(0)));
    };
    QCOMPARE(at(100), QString(" f0f 0"));
    QCOMPARE(at(5099), QString("f0f0 49.99"));
    QCOMPARE(at(5600), QString("f0f0 54.46"));
    QCOMPARE(at(15100), QString(" f0f 100"));
    QCOMPARE(at(45100), QString(" f0f -100"));
    QCOMPARE(at(60100), QString(" f0f 0"));
}

// Catches: a halted processor whose data move, or that catches up afterwards.
void TestLife::restsInProgramMode()
{
    Course course(FileType::Timer, 0x8000, 500, 0);
    course.tables.add(2, FileType::Status, 3);
    QCOMPARE(course.at(100), QByteArray("c000 10"));
    setProcessorMode(course.tables, ProcessorMode::RemoteProgram);
    QCOMPARE(course.at(900), QByteArray("c000 10"));
    setProcessorMode(course.tables, ProcessorMode::Run);
    QCOMPARE(course.at(950), QByteArray("c000 15"));
}

QTEST_APPLESS_MAIN(TestLife)
#include "tst_life.moc"
