#include <QCryptographicHash>
#include <QtTest>

#include <array>
#include <climits>
#include <cmath>
#include <map>
#include <random>

#include "simulator/controller.h"
#include "support/bytes.h"

using namespace simulator;

namespace {

// Every file has something to tell it and its elements by.
DataTables knownTables()
{
    DataTables tables;
    tables.add(0, FileType::Output, 4).setWord(1, 0, 0x0021);
    tables.add(1, FileType::Input, 4).setWord(2, 0, 0x0132);
    tables.add(2, FileType::Status, 66).setWord(65, 0, 0x0265);
    tables.add(3, FileType::Bit, 64).setWord(63, 0, 0x8001);
    tables.add(4, FileType::Timer, 40).write(39, 0, hex("00C064000A00"));
    tables.add(5, FileType::Counter, 40).write(0, 0, hex("008005000300 002006000600"));
    tables.add(6, FileType::Control, 40).write(1, 0, hex("002010001000"));
    DataFile& integers = tables.add(7, FileType::Integer, 256);
    integers.write(0, 0, hex("2A00D6FF"));
    integers.setWord(254, 0, 0x7254);
    integers.setWord(255, 0, 0x7255);
    DataFile& reals = tables.add(8, FileType::Float, 64);
    reals.setReal(0, 0.1F);
    reals.setReal(63, -1.5F);
    tables.add(300, FileType::Integer, 1).setWord(0, 0, 0x0300);
    return tables;
}

QByteArray wholeOf(const DataFile& file)
{
    return file.read(0, 0, file.elements() * file.bytesPerElement())->toHex(' ');
}

}

class TestController : public QObject
{
    Q_OBJECT

private slots:
    void replies_data();
    void replies();
    void writes_data();
    void writes();
    void limits_data();
    void limits();
    void models_data();
    void models();
    void unknownModel();
    void cutRequests();
    void arbitraryRequests();
    void filesKeepTheirBounds();
    void equalityMissesNothing();
    void seedsMakeImages();
    void seededValuesAgree();
};

void TestController::replies_data()
{
    QTest::addColumn<QByteArray>("request"); // behind 01 00 0F 00 34 12 where it starts with A2
    QTest::addColumn<QByteArray>("reply");   // STS, and behind the TNS
    const auto row = [](const char* name, const char* request, const char* sts, const char* rest) {
        QTest::newRow(name) << hex("01000F003412") + hex(request)
                            << hex("00014F") + hex(sts) + hex("3412") + hex(rest);
    };

    row("O0:1", "A2 02 00 82 01 00", "00", "2100");
    row("I1:2", "A2 02 01 83 02 00", "00", "3201");
    row("S2:65, the last", "A2 02 02 84 41 00", "00", "6502");
    row("B3:63", "A2 02 03 85 3F 00", "00", "0180");
    row("T4:39", "A2 06 04 86 27 00", "00", "00C064000A00");
    row("T4:39.PRE", "A2 02 04 86 27 01", "00", "6400");
    row("T4:39.ACC, the last word", "A2 02 04 86 27 02", "00", "0A00");
    row("C5:0 and 1", "A2 0C 05 87 00 00", "00", "008005000300002006000600");
    row("C5:0.PRE and ACC", "A2 04 05 87 00 01", "00", "05000300");
    row("C5:0.ACC into the next", "A2 04 05 87 00 02", "00", "03000020");
    row("R6:1", "A2 06 06 88 01 00", "00", "002010001000");
    row("N7:0 and 1", "A2 04 07 89 00 00", "00", "2A00D6FF");
    row("N7:254, one byte", "A2 02 07 89 FE 00", "00", "5472");
    row("N7:255, escaped", "A2 02 07 89 FFFF00 00", "00", "5572");
    row("N7:0, escaped needlessly", "A2 02 07 89 FF0000 00", "00", "2A00");
    row("C5:0.ACC, sub-element escaped", "A2 02 05 87 00 FF0200", "00", "0300");
    row("file 300, escaped", "A2 02 FF2C01 89 00 00", "00", "0003");
    row("F8:0", "A2 04 08 8A 00 00", "00", "CDCCCC3D");
    row("F8:63", "A2 04 08 8A 3F 00", "00", "0000C0BF");

    row("two fields: N7:0 and 1", "A1 04 07 89 00", "00", "2A00D6FF");
    row("two fields: C5:0 and 1", "A1 0C 05 87 00", "00", "008005000300002006000600");
    row("two fields: N7:255", "A1 02 07 89 FFFF00", "00", "5572");
    row("range: N7:0 and 1", "01 0000 0200 06 07 00 04", "00", "2A00D6FF");
    row("range: N7:255", "01 0000 0100 06 07 FFFF00 02", "00", "5572");
    row("range: C5:0.ACC into the next", "01 0000 0200 0E 05 00 02 04", "00", "03000020");
    row("range: C5:0, four words on", "01 0400 0600 06 05 00 04", "00", "06000600");
    row("range: C5:0.PRE, three words on", "01 0300 0400 0E 05 00 01 02", "00", "0600");
    row("range: F8:63, by words from F8:62", "01 0200 0400 06 08 3E 04", "00", "0000C0BF");
    row("range: file 300", "01 0000 0100 06 FF2C01 00 02", "00", "0003");

    row("no function", "", "10", "");
    row("two fields: a sub-element left over", "A1 02 07 89 00 00", "10", "");
    row("two fields: no such element", "A1 02 03 85 40", "50", "");
    row("range: no size", "01 0000 0100 06 07 00", "10", "");
    row("range: a byte left over", "01 0000 0100 06 07 00 02 00", "10", "");
    row("range: file level alone", "01 0000 0100 02 07 00 02", "10", "");
    row("range: a fourth level", "01 0000 0100 1E 07 00 02", "10", "");
    row("range: beyond its total", "01 0100 0200 06 07 00 04", "F0", "01");
    row("range: odd size", "01 0000 0300 06 07 00 07", "F0", "01");
    row("range: no such file", "01 0000 0100 06 09 00 02", "50", "");
    row("range: half a float on", "01 0100 0300 06 08 00 04", "50", "");
    row("range: offset past the end", "01 0100 0200 06 07 FFFF00 02", "50", "");
    row("range: a word too many", "01 0000 0200 06 07 FFFF00 04", "F0", "0A");
    row("unknown function", "A3 02 07 89 00 00", "10", "");
    row("no fields", "A2", "10", "");
    row("no sub-element", "A2 02 07 89 00", "10", "");
    row("escape without its word", "A2 02 07 89 FF 00", "10", "");
    row("a byte left over", "A2 02 07 89 00 00 00", "10", "");
    row("no such file", "A2 02 09 89 00 00", "50", "");
    row("no such file, low byte alike", "A2 02 FF0701 89 00 00", "50", "");
    row("element behind the last", "A2 02 07 89 FF0001 00", "50", "");
    row("element FFFF", "A2 02 07 89 FFFFFF 00", "50", "");
    row("sub-element of a word", "A2 02 07 89 00 01", "50", "");
    row("fourth sub-element", "A2 02 04 86 00 03", "50", "");
    row("sub-element of a float", "A2 04 08 8A 00 01", "50", "");
    row("size 0", "A2 00 07 89 00 00", "F0", "01");
    row("half a word", "A2 03 07 89 00 00", "F0", "01");
    row("half a float", "A2 06 08 8A 00 00", "F0", "01");
    row("a word too many", "A2 04 07 89 FFFF00 00", "F0", "0A");
    row("an element too many", "A2 06 04 86 27 01", "F0", "0A");
    row("unknown type", "A2 02 07 81 00 00", "F0", "11");
    row("unknown type, above", "A2 02 07 8B 00 00", "F0", "11");
    row("bit file read as integers", "A2 02 03 89 00 00", "F0", "17");
    row("too large beats what follows", "A2 CF 09 81 00 00", "F0", "09");

    QTest::newRow("other stations and TNS")
        << hex("07050F00FFEE A202078900 00") << hex("05074F00FFEE 2A00");
    QTest::newRow("echo") << hex("010006000500 00 414210") << hex("000146000500 414210");
    QTest::newRow("echo of nothing") << hex("010006000500 00") << hex("000146000500");
    QTest::newRow("counters") << hex(
        "010006000500 01") << hex("000146000500 0201 0200 0300 0400 0500 0600 0700 0800 0900 0000");
    QTest::newRow("counters, in part")
        << hex("010006000500 01 0000 05") << hex("000146000500 0201 0200 03");
    QTest::newRow("counters, more than all")
        << hex("010006000500 01 0000 15") << hex("000146100500");
    QTest::newRow("counters, without size") << hex("010006000500 01 0000") << hex("000146100500");
    QTest::newRow("another diagnostic") << hex("010006000500 0B") << hex("000146100500");
    QTest::newRow("typed read's function elsewhere")
        << hex("010006000500 A202078900 00") << hex("000146100500");
    QTest::newRow("unknown command") << hex("090001000100 11 0002") << hex("000941100100");
    QTest::newRow("a reply is not answered") << hex("01004F003412 2A00") << QByteArray();
    QTest::newRow("less than a header") << hex("01000F0034") << QByteArray();
}

// Catches: a wrong field, escape, status or order of checks, stations not swapped.
void TestController::replies()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, reply);
    Controller controller(knownTables());
    controller.setLinkCounters({0x0102, 2, 3, 4, 5, 6, 7, 8, 9});
    QCOMPARE(controller.execute(request).toHex(' '), reply.toHex(' '));
}

void TestController::writes_data()
{
    QTest::addColumn<QByteArray>("request"); // behind 01 00 0F 00 34 12
    QTest::addColumn<QByteArray>("answer");  // STS and EXT STS
    QTest::addColumn<int>("file");           // what is written where: bytes from the
    QTest::addColumn<int>("element");        // element's first on
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char* name, const char* request, int file, int element,
                        const char* bytes) {
        QTest::newRow(name) << hex(request) << hex("00") << file << element << hex(bytes);
    };
    const auto refused = [](const char* name, const char* request, const char* answer) {
        QTest::newRow(name) << hex(request) << hex(answer) << 7 << 0 << QByteArray();
    };

    row("O0:1", "AA 02 00 82 01 00 3412", 0, 1, "3412");
    row("I1:2", "AA 02 01 83 02 00 3412", 1, 2, "3412");
    row("S2:65, the last", "AA 02 02 84 41 00 3412", 2, 65, "3412");
    row("B3:62 and 63", "AA 04 03 85 3E 00 34121010", 3, 62, "34121010");
    row("T4:39", "AA 06 04 86 27 00 00A032000100", 4, 39, "00A032000100");
    row("T4:39.ACC, the last word", "AA 02 04 86 27 02 3412", 4, 39, "00C064003412");
    row("C5:0.PRE and ACC", "AA 04 05 87 00 01 11112222", 5, 0, "008011112222");
    row("C5:0.ACC into the next", "AA 04 05 87 00 02 11112222", 5, 0, "008005001111 2222");
    row("R6:1.LEN", "AA 02 06 88 01 01 3412", 6, 1, "002034121000");
    row("N7:255, escaped", "AA 02 07 89 FFFF00 00 3412", 7, 255, "3412");
    row("file 300, sub-element escaped", "AA 02 FF2C01 89 00 FF0000 3412", 300, 0, "3412");
    row("F8:62 and 63", "AA 08 08 8A 3E 00 0000C03F 00002041", 8, 62, "0000C03F00002041");

    row("one bit set", "AB 02 03 85 3F 00 2000 2000", 3, 63, "2180");
    row("one bit cleared", "AB 02 03 85 3F 00 0080 0000", 3, 63, "0100");
    row("data outside the mask", "AB 02 07 89 01 00 0F00 FFFF", 7, 1, "DFFF");
    row("mask of zeros", "AB 02 07 89 00 00 0000 FFFF", 7, 0, "2A00");
    row("mask of ones", "AB 02 07 89 00 00 FFFF 3412", 7, 0, "3412");
    row("one mask for two words", "AB 04 07 89 00 00 F00F 51512525", 7, 0, "5A01 26F5");
    row("one bit of O0:1", "AB 02 00 82 01 00 0200 0200", 0, 1, "2300");
    row("one bit of I1:2", "AB 02 01 83 02 00 0001 0000", 1, 2, "3200");
    row("one bit of S2:65", "AB 02 02 84 41 00 0100 0000", 2, 65, "6402");
    row("timer's DN", "AB 02 04 86 27 00 0020 0020", 4, 39, "00E0");
    row("bit of T4:39.ACC", "AB 02 04 86 27 02 0100 0100", 4, 39, "00C064000B00");
    row("counter's OV", "AB 02 05 87 00 00 0010 0010", 5, 0, "0090");
    row("bit of R6:1.LEN", "AB 02 06 88 01 01 1000 0000", 6, 1, "00200000");
    row("sign of F8:0", "AB 04 08 8A 00 00 0080 00000080", 8, 0, "CD4CCCBD");

    row("two fields: N7:1", "A9 02 07 89 01 3412", 7, 1, "3412");
    row("two fields: T4:39", "A9 06 04 86 27 00A032000100", 4, 39, "00A032000100");
    row("range: N7:254 and 255", "00 0000 0200 06 07 FE 34121010", 7, 254, "34121010");
    row("range: R6:1.POS", "00 0000 0100 0E 06 01 02 3412", 6, 1, "002010003412");
    row("range: second of two packets", "00 0200 0300 06 07 00 3412", 7, 2, "3412");
    row("range: F8:63 from F8:62", "00 0200 0400 06 08 3E 0000C03F", 8, 63, "0000C03F");
    row("a word set and cleared", "26 0E 07 00 00 0000 3412", 7, 0, "3412");
    row("bits over two words", "26 06 07 00 FF7F 0040  06 07 01 FFFF 0300", 7, 0, "2A40 D7FF");
    row("the same word twice", "26 06 07 00 0000 1100  06 07 00 0F00 0044", 7, 0, "0144");
    row("C5:0.ACC", "26 0E 05 00 02 FDFF 0080", 5, 0, "008005000180");
    row("escapes", "26 0E FF0700 FFFF00 FF0000 FF00 0010", 7, 255, "5510");

    refused("two fields: size below the data", "A9 02 07 89 00 11112222", "10");
    refused("two fields: unknown type", "A9 02 07 8B 00 1111", "F011");
    refused("range: beyond its total", "00 0000 0100 06 07 00 11112222", "F001");
    refused("range: nothing", "00 0000 0000 06 07 00", "F001");
    refused("range: half a word", "00 0000 0200 06 07 00 111122", "F001");
    refused("range: half a float", "00 0000 0100 06 08 00 1111", "F001");
    refused("range: cut", "00 0000 0100 06 07", "10");
    refused("range: protected", "00 0000 0100 06 0A 00 1111", "F00B");
    refused("range: a word too many", "00 0000 0200 06 07 FFFF00 11112222", "F00A");
    refused("no group", "26", "10");
    refused("second group cut", "26 06 07 00 0000 1111  06 07 01 0000 11", "10");
    refused("second group's element", "26 06 07 00 0000 1111  06 07 FF0001 0000 1111", "50");
    refused("second group protected", "26 06 07 00 0000 1111  06 0A 00 0000 1111", "F00B");
    refused("a float's word", "26 06 08 00 0000 1111", "F001");

    refused("size below the data", "AA 02 07 89 00 00 11112222", "10");
    refused("size above the data", "AA 04 07 89 00 00 1111", "10");
    refused("no data", "AA 02 07 89 00 00", "10");
    refused("nothing to write", "AA 00 07 89 00 00", "F001");
    refused("half a word", "AA 03 07 89 00 00 111122", "F001");
    refused("half a float", "AA 02 08 8A 00 00 1111", "F001");
    refused("a float and a half", "AA 06 08 8A 00 00 111122223333", "F001");
    refused("a word too many", "AA 04 07 89 FFFF00 00 11112222", "F00A");
    refused("a timer's word too many", "AA 04 04 86 27 02 11112222", "F00A");
    refused("no such file", "AA 02 09 89 00 00 1111", "50");
    refused("no such element", "AA 02 03 85 40 00 1111", "50");
    refused("no such sub-element", "AA 02 07 89 00 01 1111", "50");
    refused("unknown type", "AA 02 07 8B 00 00 1111", "F011");
    refused("other type", "AA 02 07 85 00 00 1111", "F017");
    refused("protected", "AA 02 0A 89 00 00 1111", "F00B");
    refused("protected, element missing", "AA 02 0A 89 04 00 1111", "50");
    refused("mask without data", "AB 02 07 89 00 00 FFFF", "10");
    refused("mask cut", "AB 00 07 89 00 00 FF", "10");
    refused("masked, data left over", "AB 02 07 89 00 00 FFFF 111122", "10");
    refused("masked, no such element", "AB 02 03 85 40 00 FFFF 1111", "50");
    refused("masked, half a float", "AB 02 08 8A 00 00 FFFF 1111", "F001");
    refused("masked, a word too many", "AB 04 04 86 27 02 FFFF 11112222", "F00A");
    refused("masked, other type", "AB 02 07 85 00 00 FFFF 1111", "F017");
    refused("masked, protected", "AB 02 0A 89 00 00 FFFF 1111", "F00B");
}

// Catches: a write that lands elsewhere, changes a neighbour or a bit outside its mask,
// and a refused one that changes anything.
void TestController::writes()
{
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, answer);
    QFETCH(int, file);
    QFETCH(int, element);
    QFETCH(QByteArray, bytes);

    DataTables tables = knownTables();
    tables.add(10, FileType::Integer, 4).setProtected(true);
    Controller controller(tables);
    QCOMPARE(controller.execute(hex("01000F003412") + request).toHex(' '),
             (hex("00014F") + answer.left(1) + hex("3412") + answer.mid(1)).toHex(' '));
    QVERIFY(tables.file(file)->write(element, 0, bytes));
    for (const auto& [number, expected] : tables.files())
        QCOMPARE(wholeOf(*controller.tables().file(number)), wholeOf(expected));
}

void TestController::limits_data()
{
    QTest::addColumn<QString>("model");
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("granted");
    QTest::newRow("1000, largest") << "1000" << 82 << true;
    QTest::newRow("1000, too large") << "1000" << 84 << false;
    for (const char* const model : {"1100", "1200", "1400", "1500"}) {
        QTest::addRow("%s, largest", model) << model << 206 << true;
        QTest::addRow("%s, too large", model) << model << 208 << false;
    }
}

// Catches: a limit that is off by one or not the model's; echo limits.
void TestController::limits()
{
    QFETCH(QString, model);
    QFETCH(int, size);
    QFETCH(bool, granted);

    QString error;
    Controller controller(knownTables(), *modelOf(model, &error));
    QByteArray request = hex("01000F003412A200078900 00");
    request[7] = static_cast<char>(size);
    const QByteArray reply = controller.execute(request);
    QCOMPARE(reply.mid(3, 1).toHex(), QByteArray(granted ? "00" : "f0"));
    QCOMPARE(static_cast<int>(reply.size()), granted ? 6 + size : 7);

    request[6] = '\xAA';
    QCOMPARE(controller.execute(request + QByteArray(size, 'x')).mid(3, 1).toHex(),
             QByteArray(granted ? "00" : "f0"));

    const QByteArray echo = hex("010006000500 00");
    QCOMPARE(controller.execute(echo + QByteArray(243, 'x')).mid(6), QByteArray(243, 'x'));
    QCOMPARE(controller.execute(echo + QByteArray(244, 'x')), hex("000146100500"));
}

void TestController::models_data()
{
    QTest::addColumn<QString>("files"); // elements of file 0, 1 and so on
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("series"); // and firmware
    QTest::addColumn<QByteArray>("ram");
    const char* const predefined = "32 32 66 64 40 40 40 256 64";
    QTest::newRow("1000") << "1 2 33 32 40 32 16 105" << QByteArray("1761-L32BWA") << hex("81")
                          << hex("01");
    QTest::newRow("1100") << predefined << QByteArray("1763-L16BWA") << hex("30") << hex("08");
    QTest::newRow("1200") << predefined << QByteArray("1762-L24BWA") << hex("4D") << hex("06");
    QTest::newRow("1400") << predefined << QByteArray("1766-L32BWA") << hex("35") << hex("14");
    QTest::newRow("1500") << predefined << QByteArray("1764-LRP   ") << hex("4D") << hex("0E");
}

// Catches: a file that a model does not have or is too short, and a diagnostic status
// that is another model's, has its bytes out of place or does not follow S2.
void TestController::models()
{
    QFETCH(QString, files);
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, series);
    QFETCH(QByteArray, ram);
    QString error;
    const Model& model = *modelOf(QTest::currentDataTag(), &error);
    Controller controller(seededTables(3, model), model);

    QStringList lengths;
    for (const auto& [number, file] : controller.tables().files())
        lengths << QString::number(file.elements());
    QCOMPARE(lengths.join(' '), files);
    QCOMPARE(controller.execute(hex("01000F003412 A2 04 07 89 02 00")).toHex(),
             QByteArray("00014f00341210001010"));

    const auto status = [&controller] { return controller.execute(hex("010006003412 03")).mid(6); };
    const auto expected = [&](const char* errorAndMode) {
        return (hex("00EE3400") + series + name + hex(errorAndMode) + hex("0100") + ram + '\0')
            .toHex(' ');
    };
    QCOMPARE(status().toHex(' '), expected("0000 0600"));
    controller.tables().file(2)->setWord(1, 0, 0x2066);
    controller.tables().file(2)->setWord(6, 0, 0x0120);
    setProcessorMode(controller.tables(), ProcessorMode::RemoteProgram);
    QCOMPARE(status().toHex(' '), expected("2001 6120"));
    QCOMPARE(controller.execute(hex("010006003412 03 00")).mid(3, 1).toHex(), QByteArray("10"));
}

// Catches: a controller without status file that crashes, and an error that helps nobody.
void TestController::unknownModel()
{
    QString error;
    QVERIFY(!modelOf("1300", &error));
    QCOMPARE(error,
             QString("unknown model \"1300\"; known models are 1000, 1100, 1200, 1400, 1500"));

    DataTables none;
    setProcessorMode(none, ProcessorMode::Run);
    const QByteArray status = Controller(none).execute(hex("010006003412 03"));
    QCOMPARE(status.mid(22, 4).toHex(), QByteArray("00000000"));
}

// Catches: a field read past the request's end, and a write that is run though cut.
void TestController::cutRequests()
{
    const DataTables before = knownTables();
    for (const char* const rest :
         {"A2 02 FF0700 89 FF0000 FF0000", "AA 02 FF0700 89 FF0000 FF0000 3412",
          "AB 02 FF0700 89 FF0000 FF0000 FFFF3412", "01 0000 0100 0E FF0700 FF0000 FF0000 02",
          "26 0E FF0700 FF0000 FF0000 0000 3412"}) {
        const QByteArray whole = hex("01000F003412") + hex(rest);
        for (int length = 0; length < static_cast<int>(whole.size()); ++length) {
            Controller controller(before);
            const QByteArray expected = length < 6 ? QByteArray() : hex("00014F103412");
            QCOMPARE(controller.execute(whole.left(length)).toHex(), expected.toHex());
            QVERIFY(controller.tables() == before);
        }
        QCOMPARE(Controller(before).execute(whole).mid(3, 1).toHex(), QByteArray("00"));
    }
}

// Catches: bytes that lead an access outside its file (with the sanitizers: any
// overrun), and a refused request that changes something.
void TestController::arbitraryRequests()
{
    Controller controller(seededTables(1));
    DataTables image = controller.tables();
    std::mt19937 random(20);
    std::map<quint8, int> granted;
    for (int round = 0; round < 100000; ++round) {
        const auto file = static_cast<char>(random() % 9);
        const auto function = static_cast<quint8>(std::array{0xA2, 0xAA, 0xAB}[random() % 3]);
        const int size = static_cast<int>(random() % (round % 2 == 0 ? 256 : 16));
        QByteArray request = hex("01000F003412");
        request.append(static_cast<char>(function)).append(static_cast<char>(size));
        request.append(file).append(static_cast<char>(0x82 + file));
        for (auto left = random() % 7; left > 0; --left)
            request.append(static_cast<char>(random() % 3 == 0   ? 0xFF
                                             : random() % 2 == 0 ? random() % 4
                                                                 : random()));
        if (function != 0xA2)
            request.append(QByteArray(size + (function == 0xAB ? 2 : 0), '\x5A'));
        const QByteArray reply = controller.execute(request);
        const bool success = reply.at(3) == 0;
        const int granting = function == 0xA2 ? 6 + size : 6;
        QVERIFY(success ? reply.size() == granting : reply.size() <= 7);
        if (success && function != 0xA2)
            image = controller.tables();
        QVERIFY(controller.tables() == image);
        granted[function] += success ? 1 : 0;
    }
    QVERIFY(granted[0xA2] > 30 && granted[0xAA] > 30 && granted[0xAB] > 30);
}

// Catches: an access beyond the file, and half a write.
void TestController::filesKeepTheirBounds()
{
    DataTables tables = knownTables();
    const DataTables before = tables;
    DataFile& timers = *tables.file(4);
    QVERIFY(!timers.write(39, 2, hex("11112222")));
    QVERIFY(!timers.write(-1, 0, hex("1111")));
    QVERIFY(!timers.setWord(40, 0, 1));
    QVERIFY(!timers.setWord(0, 3, 1));
    QVERIFY(!timers.setReal(0, 1.0F));
    QVERIFY(!timers.read(0, -1, 2));
    QVERIFY(!timers.read(0, 0, -2));
    QVERIFY(!timers.read(39, 0, INT_MAX));
    QVERIFY(!timers.real(0));
    QVERIFY(!tables.file(9));
    QVERIFY(tables == before);

    QCOMPARE(timers.word(39, 1).value_or(0), static_cast<quint16>(100));
    QCOMPARE(tables.file(8)->real(63).value_or(0), -1.5F);
}

// Catches: an image that depends on anything but the seed, or not on the seed, or is no
// longer the one that other tests count on.
void TestController::seedsMakeImages()
{
    QVERIFY(seededTables(7) == seededTables(7));
    QVERIFY(seededTables(8) != seededTables(7));

    QCryptographicHash image(QCryptographicHash::Md5);
    const DataTables tables = seededTables(7);
    for (const auto& [number, file] : tables.files())
        image.addData(wholeOf(file));
    QCOMPARE(image.result().toHex(), QByteArray("2da384c5eba96470d6560dc321680c78"));
}

// Catches: a difference that equality does not see.
void TestController::equalityMissesNothing()
{
    const auto with = [](int number, FileType type, int elements) {
        DataTables tables;
        tables.add(number, type, elements);
        return tables;
    };
    const DataTables tables = with(7, FileType::Integer, 6);
    DataTables changed = tables;
    QVERIFY(changed == tables);
    QVERIFY(changed.file(7)->setWord(5, 0, 0x0100));
    QVERIFY(changed != tables);
    QVERIFY(changed.file(7)->setWord(5, 0, 0));
    QVERIFY(changed == tables);
    changed.file(7)->setProtected(true);
    QVERIFY(changed != tables);
    QVERIFY(with(9, FileType::Integer, 6) != tables);
    QVERIFY(with(7, FileType::Bit, 6) != tables);
    QVERIFY(with(7, FileType::Integer, 7) != tables);
    QVERIFY(DataTables() != tables);
}

// Catches: status bits that contradict the counts, and values nobody would believe.
void TestController::seededValuesAgree()
{
    for (quint32 seed = 0; seed < 50; ++seed) {
        const DataTables tables = seededTables(seed);
        for (const int number : {4, 5, 6}) {
            const DataFile& file = *tables.file(number);
            for (int element = 0; element < file.elements(); ++element) {
                const int control = *file.word(element, 0);
                const int preset = *file.word(element, 1);
                const int accumulated = *file.word(element, 2);
                QVERIFY(preset > 0 && accumulated <= preset);
                QCOMPARE((control & 0x2000) != 0, accumulated == preset);
                const int running = control & 0xC000; // EN and TT
                if (number == 4)
                    QVERIFY(accumulated == preset ? running == 0x8000
                            : running == 0        ? accumulated == 0
                                                  : running == 0xC000);
            }
        }
        for (int element = 0; element < 64; ++element) {
            const double tenths = *tables.file(8)->real(element) * 10.0;
            QVERIFY(std::isfinite(tenths) && std::abs(tenths - std::round(tenths)) < 0.001);
        }
        QCOMPARE(tables.file(7)->read(2, 0, 4)->toHex(), QByteArray("10001010"));
        const auto ninth = static_cast<qint16>(*tables.file(7)->word(9));
        QVERIFY(ninth < 0 && ninth == -static_cast<qint16>(*tables.file(7)->word(10)) + 1);
        QCOMPARE(*tables.file(3)->word(2), static_cast<quint16>(0x1010));
    }
}

QTEST_APPLESS_MAIN(TestController)
#include "tst_controller.moc"
