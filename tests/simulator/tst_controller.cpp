#include <QCryptographicHash>
#include <QtTest>

#include <climits>

#include "simulator/controller.h"
#include "support/bytes.h"
#include "support/named.h"

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
    tables.add(7, FileType::Integer, 256).write(0, 0, hex("2A00D6FF"));
    tables.file(7)->write(254, 0, hex("54725572"));
    tables.add(8, FileType::Float, 64).setReal(0, 0.1F);
    tables.file(8)->setReal(63, -1.5F);
    tables.add(10, FileType::Integer, 4).setProtected(true);
    tables.add(300, FileType::Integer, 1).setWord(0, 0, 0x0300);
    return tables;
}

QByteArray wholeOf(const DataFile& file)
{
    return file.read(0, 0, file.elements() * file.bytesPerElement())->toHex(' ');
}

// A request from station 0 to station 1 with TNS 1234.
QByteArray requestOf(const char* commandAndBody)
{
    const QByteArray bytes = hex(commandAndBody);
    return hex("0100") + bytes.left(1) + hex("003412") + bytes.mid(1);
}

}

class TestController : public QObject
{
    Q_OBJECT

private slots:
    void executes();
    void addressesEveryMessage();
    void damagedRequests();
    void models();
    void filesKeepTheirBounds();
    void equalityMissesNothing();
    void seedsMakeImages();
};

// Catches: a wrong field, escape, status or order of checks; a write that lands elsewhere,
// changes a neighbour or a bit outside its mask, and a refused one that changes anything.
void TestController::executes()
{
    const struct
    {
        const char* name;
        const char* request; // CMD, and behind the TNS
        const char* answer;  // STS, and behind the TNS
        int file = 7;        // what is written where: bytes from the element's first on
        int element = 0;
        const char* bytes = "";
    } rows[] = {
        {"C5:0.ACC into the next", "0F A2 04 05 87 00 02", "00 03000020"},
        {"N7:254, one byte", "0F A2 02 07 89 FE 00", "00 5472"},
        {"N7:255, escaped", "0F A2 02 07 89 FFFF00 00", "00 5572"},
        {"file 300, escaped", "0F A2 02 FF2C01 89 00 00", "00 0003"},
        {"F8:63", "0F A2 04 08 8A 3F 00", "00 0000C0BF"},
        {"two fields: C5:0 and 1", "0F A1 0C 05 87 00", "00 008005000300002006000600"},
        {"range: N7:255, 255 words on", "0F 01 FF00 0001 06 07 00 02", "00 5572"},
        {"range: C5:0.PRE, three words on", "0F 01 0300 0400 0E 05 00 01 02", "00 0600"},
        {"range: F8:63, by words from F8:62", "0F 01 0200 0400 06 08 3E 04", "00 0000C0BF"},

        {"unknown command", "11 0002", "10"},
        {"unknown function", "0F A3 02 07 89 00 00", "10"},
        {"a byte left over", "0F A2 02 07 89 00 00 00", "10"},
        {"two fields: a sub-element left over", "0F A1 02 07 89 00 00", "10"},
        {"range: a byte left over", "0F 01 0000 0100 06 07 00 02 00", "10"},
        {"range: a fourth level", "0F 01 0000 0100 1E 07 00 02", "10"},
        {"range: beyond its total", "0F 01 0100 0200 06 09 00 04", "F0 01"},
        {"range: no such file", "0F 01 0000 0100 06 09 00 02", "50"},
        {"range: sub-element of a word", "0F 01 0000 0100 0E 07 00 01 02", "50"},
        {"range: half a float on", "0F 01 0100 0300 06 08 00 04", "50"},
        {"range: offset past the end", "0F 01 0100 0200 06 07 FFFF00 02", "50"},
        {"too large beats what follows", "0F A2 CF 09 81 00 00", "F0 09"},
        {"size 0 beats what follows", "0F A2 00 09 81 00 00", "F0 01"},
        {"unknown type beats what follows", "0F A2 03 09 81 00 00", "F0 11"},
        {"unknown type, above", "0F A2 02 07 8B 00 00", "F0 11"},
        {"no such file", "0F A2 03 09 89 00 00", "50"},
        {"bit file read as integers", "0F A2 03 03 89 40 00", "F0 17"},
        {"element behind the last", "0F A2 03 07 89 FF0001 00", "50"},
        {"sub-element of a word", "0F A2 02 07 89 00 01", "50"},
        {"fourth sub-element", "0F A2 02 04 86 00 03", "50"},
        {"sub-element of a float", "0F A2 04 08 8A 00 01", "50"},
        {"half a word beats the end", "0F A2 03 07 89 FFFF00 00", "F0 01"},
        {"a word too many", "0F A2 04 07 89 FFFF00 00", "F0 0A"},

        {"echo", "06 00 414210", "00 414210"},
        {"counters", "06 01", "00 0201 0200 0300 0400 0500 0600 0700 0800 0900 0000"},
        {"counters, in part", "06 01 0000 05", "00 0201 0200 03"},
        {"counters, more than all", "06 01 0000 15", "10"},
        {"counters, without size", "06 01 0000", "10"},
        {"counters, a byte left over", "06 01 0000 05 00", "10"},

        {"O0:1", "0F AA 02 00 82 01 00 3412", "00", 0, 1, "3412"},
        {"I1:2", "0F AA 02 01 83 02 00 3412", "00", 1, 2, "3412"},
        {"S2:65", "0F AA 02 02 84 41 00 3412", "00", 2, 65, "3412"},
        {"B3:62 and 63", "0F AA 04 03 85 3E 00 34121010", "00", 3, 62, "34121010"},
        {"T4:39.ACC", "0F AA 02 04 86 27 02 3412", "00", 4, 39, "00C064003412"},
        {"C5:0.ACC and on", "0F AA 04 05 87 00 02 11112222", "00", 5, 0, "0080050011112222"},
        {"R6:1.LEN", "0F AA 02 06 88 01 01 3412", "00", 6, 1, "002034121000"},
        {"F8:62 and 63", "0F AA 08 08 8A 3E 00 0000C03F00002041", "00", 8, 62, "0000C03F00002041"},
        {"a mask, two words", "0F AB 04 07 89 00 00 F00F 51512525", "00", 7, 0, "5A01 26F5"},
        {"bit of T4:39.ACC", "0F AB 02 04 86 27 02 0100 0100", "00", 4, 39, "00C064000B00"},
        {"two fields: N7:1", "0F A9 02 07 89 01 3412", "00", 7, 1, "3412"},
        {"range: R6:1.POS", "0F 00 0000 0100 0E 06 01 02 3412", "00", 6, 1, "002010003412"},
        {"range: second packet", "0F 00 0200 0300 06 07 00 3412", "00", 7, 2, "3412"},
        {"two words' bits", "0F 26 06 07 00 FF7F 0040 06 07 01 FFFF 0300", "00", 7, 0, "2A40D7FF"},
        {"a word twice", "0F 26 06 07 00 0000 1100 06 07 00 0F00 0044", "00", 7, 0, "0144"},
        {"mask's C5:0.ACC", "0F 26 0E 05 00 02 FDFF 0080", "00", 5, 0, "008005000180"},

        {"size below the data", "0F AA 02 07 89 00 00 11112222", "10"},
        {"masked, data left over", "0F AB 02 07 89 00 00 FFFF 111122", "10"},
        {"second group cut", "0F 26 06 07 00 0000 1111 06 07 01 0000 11", "10"},
        {"second group protected", "0F 26 06 07 00 0000 1111 06 0A 00 0000 1111", "F0 0B"},
        {"a float's word", "0F 26 06 08 00 0000 1111", "F0 01"},
        {"write: protected", "0F AA 02 0A 89 00 00 1111", "F0 0B"},
        {"write: protected, element missing", "0F AA 02 0A 89 04 00 1111", "50"},
        {"masked: no such element", "0F AB 02 03 85 40 00 FFFF 1111", "50"},
        {"masked: protected", "0F AB 02 0A 89 00 00 FFFF 1111", "F0 0B"},
        {"range write: beyond its total", "0F 00 0000 0100 06 07 00 11112222", "F0 01"},
        {"range write: cut", "0F 00 0000 0100 06 07", "10"},
        {"range write: protected", "0F 00 0000 0100 06 0A 00 1111", "F0 0B"},
    };
    for (const auto& row : rows) {
        Controller controller(knownTables());
        controller.setLinkCounters({0x0102, 2, 3, 4, 5, 6, 7, 8, 9});
        const QByteArray request = requestOf(row.request);
        const QByteArray answer = hex(row.answer);
        const QByteArray reply = hex("0001") + static_cast<char>(request.at(2) | 0x40)
                                 + answer.left(1) + hex("3412") + answer.mid(1);
        QCOMPARE(named(row.name, controller.execute(request)), named(row.name, reply));
        DataTables tables = knownTables();
        QVERIFY2(tables.file(row.file)->write(row.element, 0, hex(row.bytes)), row.name);
        for (const auto& [number, expected] : tables.files())
            QCOMPARE(row.name + wholeOf(*controller.tables().file(number)),
                     row.name + wholeOf(expected));
    }
}

// Catches: stations not swapped, a TNS not returned, and an answer to what is none of its.
void TestController::addressesEveryMessage()
{
    Controller controller(knownTables());
    QCOMPARE(controller.execute(hex("07050F00FFEE A202078900 00")).toHex(),
             QByteArray("05074f00ffee2a00"));
    QCOMPARE(controller.execute(hex("01004F003412 2A00")), QByteArray());
    QCOMPARE(controller.execute(hex("01000F0034")), QByteArray());
}

// Catches: a field read past the request's end (with the sanitizers: any overrun), a
// write that is run though cut, and a refused request that changes something.
void TestController::damagedRequests()
{
    const DataTables before = knownTables();
    for (const char* const text :
         {"0F A2 02 FF0700 89 FF0000 FF0000", "0F AA 02 FF0700 89 FF0000 FF0000 3412",
          "0F AB 02 FF0700 89 FF0000 FF0000 FFFF3412", "0F 01 0000 0100 0E FF0700 FF0000 FF0000 02",
          "0F 26 0E FF0700 FF0000 FF0000 0000 3412"}) {
        const QByteArray whole = requestOf(text);
        QCOMPARE(named(text, Controller(before).execute(whole).mid(3, 1)), named(text, hex("00")));
        for (int length = 6; length < static_cast<int>(whole.size()); ++length) {
            Controller controller(before);
            const QByteArray reply = controller.execute(whole.left(length));
            QCOMPARE(named(text, reply.mid(3)), named(text, hex("103412")));
            QVERIFY2(controller.tables() == before, text);
            for (int value = 0; value < 256; ++value) {
                QByteArray changed = whole;
                changed[length] = static_cast<char>(value);
                Controller other(before);
                QVERIFY2(other.execute(changed).at(3) == 0 || other.tables() == before, text);
            }
        }
    }
}

// Catches: a limit that is off by one or not the model's, a file that a model does not have
// or is too short, a diagnostic status that is another model's, has its bytes out of place,
// does not follow S2 or crashes without it, a write in Program mode, and an error that helps
// nobody.
void TestController::models()
{
    const char* const predefined = "32 32 66 64 40 40 40 256 64"; // elements of file 0, 1 and so on
    const std::tuple<QString, int, QString, QByteArray, const char*> rows[] = {
        {"1000", 82, "1 2 33 32 40 32 16 105", "\x81" + QByteArray("1761-L32BWA"), "01"},
        {"1100", 206, predefined, "\x30" + QByteArray("1763-L16BWA"), "08"},
        {"1200", 206, predefined, "\x4D" + QByteArray("1762-L24BWA"), "06"},
        {"1400", 206, predefined, "\x35" + QByteArray("1766-L32BWA"), "14"},
        {"1500", 206, predefined, "\x4D" + QByteArray("1764-LRP   "), "0E"},
    };
    QString error;
    for (const auto& [name, limit, files, seriesAndName, ram] : rows) {
        const Model& model = *modelOf(name, &error);
        Controller controller(seededTables(3, model), model);
        QString lengths;
        for (const auto& [number, file] : controller.tables().files())
            lengths += QString(" %1").arg(file.elements());
        QCOMPARE(named(name, lengths.mid(1)), named(name, files));
        QCOMPARE(named(name, controller.execute(requestOf("0F A2 04 07 89 02 00")).mid(6)),
                 named(name, hex("10001010")));
        for (const int size : {limit, limit + 2}) {
            QByteArray request = requestOf("0F AA 00 07 89 00 00") + QByteArray(size, 'x');
            request[7] = static_cast<char>(size);
            QCOMPARE(named(name, controller.execute(request).mid(3, 1)),
                     named(name, hex(size == limit ? "00" : "F0")));
        }
        const auto status = [&] {
            return named(name, controller.execute(requestOf("06 03")).mid(6));
        };
        const QByteArray start = hex("00EE3400") + seriesAndName;
        QCOMPARE(status(), named(name, start + hex("0000 0600 0100") + hex(ram) + '\0'));
        controller.tables().file(2)->setWord(1, 0, 0x2077);
        controller.tables().file(2)->setWord(6, 0, 0x0120);
        setProcessorMode(controller.tables(), ProcessorMode::RemoteProgram);
        QCOMPARE(status(), named(name, start + hex("2001 6120 0100") + hex(ram) + '\0'));
        for (const auto& [request, answer] :
             {std::pair("0F A2 02 07 89 02 00", "00"), std::pair("0F AA 02 07 89 02 00 1111", "70"),
              std::pair("0F 26 06 07 00 0000 1111", "70")})
            QCOMPARE(named(request, controller.execute(requestOf(request)).mid(3, 1)),
                     named(request, hex(answer)));
    }
    QVERIFY(!modelOf("1300", &error));
    QCOMPARE(error,
             QString("unknown model \"1300\"; known models are 1000, 1100, 1200, 1400, 1500"));

    DataTables none;
    setProcessorMode(none, ProcessorMode::Run);
    Controller bare(none);
    QCOMPARE(bare.execute(requestOf("06 03")).mid(22, 4), QByteArray(4, '\0'));
    QCOMPARE(bare.execute(requestOf("06 03 00")).mid(3, 1).toHex(), QByteArray("10"));
    for (const int size : {243, 244})
        QCOMPARE(bare.execute(requestOf("06 00") + QByteArray(size, 'x')).mid(6),
                 QByteArray(size == 243 ? size : 0, 'x'));
}

// Catches: an access beyond the file, and half a write.
void TestController::filesKeepTheirBounds()
{
    DataTables tables = knownTables();
    DataFile& timers = *tables.file(4);
    for (const bool done :
         {timers.write(39, 2, hex("11112222")), timers.write(-1, 0, hex("1111")),
          timers.setWord(40, 0, 1), timers.setWord(0, 3, 1), timers.setReal(0, 1.0F),
          timers.read(0, -1, 2).has_value(), timers.read(0, 0, -2).has_value(),
          timers.read(39, 0, INT_MAX).has_value(), timers.real(0).has_value()})
        QVERIFY(!done);
    QVERIFY(!tables.file(9));
    QVERIFY(tables == knownTables());
    QCOMPARE(timers.word(39, 1).value_or(0), static_cast<quint16>(100));
    QCOMPARE(tables.file(8)->real(63).value_or(0), -1.5F);
}

// Catches: a difference that equality does not see.
void TestController::equalityMissesNothing()
{
    const auto with = [](int number, FileType type, int elements, quint16 last = 0,
                         bool isProtected = false) {
        DataTables tables;
        DataFile& file = tables.add(number, type, elements);
        file.setWord(elements - 1, 0, last);
        file.setProtected(isProtected);
        return tables;
    };
    const auto tables = with(7, FileType::Integer, 6);
    QVERIFY(tables == with(7, FileType::Integer, 6));
    for (const DataTables& other :
         {DataTables(), with(9, FileType::Integer, 6), with(7, FileType::Bit, 6),
          with(7, FileType::Integer, 7), with(7, FileType::Integer, 6, 0x0100),
          with(7, FileType::Integer, 6, 0, true)})
        QVERIFY(tables != other);
}

// Catches: an image that depends on anything but the seed, or not on the seed, or is no
// longer the one that other tests count on.
void TestController::seedsMakeImages()
{
    QVERIFY(seededTables(8) != seededTables(7));
    QCryptographicHash image(QCryptographicHash::Md5);
    const DataTables tables = seededTables(7);
    for (const auto& [number, file] : tables.files())
        image.addData(wholeOf(file));
    QCOMPARE(image.result().toHex(), QByteArray("2da384c5eba96470d6560dc321680c78"));
}

QTEST_APPLESS_MAIN(TestController)
#include "tst_controller.moc"
