#include <QJsonArray>
#include <QtEndian>
#include <QtTest>

#include "simulator/controller.h"
#include "simulator/tablesfile.h"

using namespace simulator;

class TestTablesFile : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryType();
    void takesTheModelsFiles();
    void showsLinkCounters();
    void writesWhatItReads();
    void saysWhatIsWrong_data();
    void saysWhatIsWrong();
};

// Catches: a value in the wrong element, word or bit, and a type's letter taken for another.
void TestTablesFile::readsEveryType()
{
    QString error;
    const auto read = parseTables(R"({
        "model": "1400", "catalogue": "1766-L32AWA", "series": "C", "mode": "run",
        "files": [
          {"number": 2, "type": "S", "length": 3},
          {"number": 7, "type": "N", "length": 4, "values": [1, -2, 65535], "protected": true},
          {"number": 4, "type": "T", "length": 2, "values":
            [{"pre": 100, "acc": 7, "en": true, "base": "1s"}, [16384, -1, 3]]},
          {"number": 5, "type": "C", "values": [{"pre": 5, "acc": 5, "dn": true, "cu": true}]},
          {"number": 6, "type": "R", "values": [{"len": 8, "pos": 2, "fd": true}]},
          {"number": 8, "type": "F", "values": [21.5]}]})",
                                  1, &error);
    QVERIFY2(read, qPrintable(error));
    QCOMPARE(read->model.dataBytesPerMessage, 206);
    QCOMPARE(read->model.name + read->model.catalogueNumber + read->model.series,
             QString("14001766-L32AWAC"));
    QCOMPARE(read->tables.files().size(), size_t(6));
    const auto bytes = [&read](int file) {
        const DataFile& f = *read->tables.file(file);
        return f.read(0, 0, f.elements() * f.bytesPerElement())->toHex();
    };
    QCOMPARE(bytes(2), QByteArray("000006000000"));
    QCOMPARE(bytes(7), QByteArray("0100feffffff0000"));
    QCOMPARE(bytes(4), QByteArray("008164000700"
                                  "0040ffff0300"));
    QCOMPARE(bytes(5), QByteArray("00a005000500"));
    QCOMPARE(bytes(6), QByteArray("000108000200"));
    QCOMPARE(bytes(8), QByteArray("0000ac41"));
    QVERIFY(read->tables.file(7)->isProtected());
}

// Catches: a description without files that leaves the controller without memory.
void TestTablesFile::takesTheModelsFiles()
{
    QString error;
    const auto read = parseTables(R"({"model": "1000"})", 3, &error);
    QVERIFY2(read, qPrintable(error));
    QVERIFY(read->tables == seededTables(3, *modelOf("1000", &error)));
}

// Catches: link counters that are no data, or in another's place.
void TestTablesFile::showsLinkCounters()
{
    QString error;
    const auto read = parseTables(
        R"({"files": [{"number": 30, "type": "N", "length": 20, "counters": true}]})", 1, &error);
    QVERIFY2(read, qPrintable(error));
    Controller controller(read->tables, read->model);
    controller.setLinkCounters({1, 2, 3, 4, 5, 6, 7, 8, 9});
    QCOMPARE(controller.execute(QByteArray::fromHex("01000F003412A2121E890A00")).mid(6).toHex(),
             QByteArray("010002000300000008000600000005000900"));
}

// Catches: a value that a written description loses: a float's last digit or its sign,
// what is no number, the element words' order, a file's protection.
void TestTablesFile::writesWhatItReads()
{
    DataTables tables = seededTables(5);
    const quint32 floats[] = {0x7FC00001, 0xFF800000, 0x80000000, 0x3DCCCCCD, 0x7F7FFFFF, 1};
    for (int i = 0; i < 6; ++i) {
        QByteArray bytes(4, '\0');
        qToLittleEndian(floats[i], bytes.data());
        QVERIFY(tables.file(8)->write(i, 0, bytes));
    }
    tables.file(4)->write(0, 0, QByteArray::fromHex("0080FF7F0180"));
    tables.file(7)->setProtected(true);
    const QByteArray text = tablesText(tables, {{"series", "C"}, {"note", QJsonArray{1, "x"}}});
    QVERIFY2(text.contains("[-32768,32767,-32767]") && text.contains(",0.1,"), text);
    QString error;
    const auto read = parseTables(text, 1, &error);
    QVERIFY2(read, qPrintable(error));
    QVERIFY(read->tables == tables);
    QCOMPARE(read->model.series, 'C');
    QCOMPARE(modelOfCatalogue("1766-L32BXBA")->name, QString("1400"));
    QVERIFY(!modelOfCatalogue("1747-L532"));
}

void TestTablesFile::saysWhatIsWrong_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("message");
    const auto file = [](const char* properties) {
        return QByteArray(R"({"files": [{"number": 7, "type": "N", "length": 2}, {)") + properties
               + "}]}";
    };
    QTest::newRow("no JSON") << QByteArray("{\n \"files\": x}") << "line 2, column ";
    QTest::newRow("no object") << QByteArray("[]") << "one object";
    QTest::newRow("misspelt") << QByteArray(R"({"modle": 1})") << "\"modle\"; there are model";
    QTest::newRow("model") << QByteArray(R"({"model": "1600"})") << "known models are 1000";
    QTest::newRow("mode") << QByteArray(R"({"mode": "stop"})") << "mode: must be program, run";
    QTest::newRow("series") << QByteArray(R"({"series": "I"})") << "series: must be a letter";
    QTest::newRow("catalogue") << QByteArray(R"({"catalogue": "1763-L16BWA2"})")
                               << "catalogue: must have 1 to 11";
    QTest::newRow("files") << QByteArray(R"({"files": {}})") << "files: must be an array";
    QTest::newRow("no number") << file(R"("type": "N")") << "files[1].number: must be a whole";
    QTest::newRow("twice") << file(R"("number": 7, "type": "N")") << "file 7 is there twice";
    QTest::newRow("type") << file(R"("number": 9, "type": "X")") << "files[1].type: must be one";
    QTest::newRow("no length") << file(R"("number": 9, "type": "N")") << "needs a \"length\"";
    QTest::newRow("too many") << file(R"("number": 9, "type": "N", "length": 1, "values": [1, 2])")
                              << "files[1].values: has 2 values";
    QTest::newRow("too large") << file(R"("number": 9, "type": "N", "values": [1, 65536])")
                               << "files[1].values[1]: must be a whole number from -32768 to 65535";
    QTest::newRow("fraction") << file(R"("number": 9, "type": "N", "values": [1.5])")
                              << "values[0]: must be a whole number";
    QTest::newRow("float") << file(R"("number": 9, "type": "F", "values": ["1"])")
                           << "values[0]: must be a number";
    QTest::newRow("words") << file(R"("number": 9, "type": "T", "values": [[1, 2]])")
                           << "values[0]: must have three words";
    QTest::newRow("counters") << file(R"("number": 9, "type": "N", "length": 18, "counters": true)")
                              << "files[1].counters: is for one N file of 19 elements";
    QTest::newRow("bit") << file(R"("number": 9, "type": "T", "values": [{"en": 1}])")
                         << "values[0].en: must be true or false";
    QTest::newRow("base") << file(R"("number": 9, "type": "T", "values": [{"base": "1ms"}])")
                          << "values[0].base: must be \"10ms\" or \"1s\"";
    QTest::newRow("other type's") << file(R"("number": 9, "type": "C", "values": [{"len": 1}])")
                                  << "unknown property \"len\"";
}

// Catches: a fault that is swallowed, or told without its place.
void TestTablesFile::saysWhatIsWrong()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, message);
    QString error;
    QVERIFY(!parseTables(json, 1, &error));
    QVERIFY2(error.contains(message), qPrintable(error));
    QVERIFY(!error.contains('\n'));
}

QTEST_APPLESS_MAIN(TestTablesFile)
#include "tst_tablesfile.moc"
