#include <QtTest>

#include "host/readlist.h"
#include "support/rows.h"

class TestReadList : public QObject
{
    Q_OBJECT

private slots:
    void takesAddressesAndLengths();
    void namesStatusBits();
};

// Catches: a length that counts words for pairs, elements for bits or parts for timers, a
// value under another's name, and a request that can't be met taken for another.
void TestReadList::takesAddressesAndLengths()
{
    const struct
    {
        const char* text;
        int count;
        const char* form;
        const char* tags; // or the error
    } rows[] = {
        {"N7:0", 1, "", "N7:0 i16"},
        {"N7:9,L2", 5, "", "N7:9 i16, N7:10 i16"},
        {"n7:0,l1", 5, "u16", "n7:0 u16"},
        {"N7:0", 2, "i32", "N7:0 i32, N7:2 i32"},
        {"F8:1,L2", 1, "", "F8:1 f32, F8:2 f32"},
        {"B3:0/15,L2", 1, "", "B3:0/15 bit, B3:1/0 bit"},
        {"T4:1/DN,L2", 1, "", "T4:1/DN bit, T4:2/DN bit"},
        {"T4:1.PRE,L2", 1, "hex", "T4:1.PRE hex, T4:2.PRE hex"},
        {"T4:1,L2", 1, "hex", "T4:1 hex, T4:2 hex"},
        {"T4:8,L2", 1, "",
         "whole T4:8 i16, T4:8.PRE i16, T4:8.ACC i16, T4:9 i16, T4:9.PRE i16, T4:9.ACC i16"},
        {"R6:0", 1, "", "whole R6:0 i16, R6:0.LEN i16, R6:0.POS i16"},
        {"N7:0,L0", 1, "", "N7:0,L0: length 0 is out of range; give 1 or more"},
        {"N7:0,L9999999999", 1, "",
         "N7:0,L9999999999: length 9999999999 is out of range; give 1 "
         "or more"},
        {"N7:65534,L3", 1, "", "N7:65536: element 65536 is out of range; give 0 to 65535"},
        {"N7:65534,L2", 1, "f32", "N7:65536: element 65536 is out of range; give 0 to 65535"},
        {"F8:0", 1, "hex", "F8:0: it can't have type 'hex'; give f32"},
        {"N7", 1, "",
         "'N7' is no address; give a file and an element, such as N7:0, F8:1, B3:2/5, "
         "T4:0.ACC or T4:0/DN"},
    };
    for (const auto& row : rows) {
        QString error;
        const auto item = host::readItem(row.text, row.count, row.form, &error);
        QStringList tags;
        for (const host::Tag& tag : item ? item->tags : std::vector<host::Tag>())
            tags << tag.name + ' ' + nameOf(tag.form);
        const QString text = (item && item->isWhole ? "whole " : "") + tags.join(", ");
        ROW_COMPARE(row.text, item ? text : error, QString(row.tags));
    }
}

// Catches: a status bit under another's name (publication 1770-6.5.16: bits count down from 15).
void TestReadList::namesStatusBits()
{
    const std::pair<char, const char*> rows[] = {
        {'T', "EN15 TT14 DN13 PRE ACC"},
        {'C', "CU15 CD14 DN13 OV12 UN11 UA10 PRE ACC"},
        {'R', "EN15 EU14 DN13 EM12 ER11 UL10 IN9 FD8 LEN POS"},
        {'N', ""},
    };
    for (const auto& [letter, names] : rows) {
        QStringList text;
        for (const auto& [name, number] : host::statusBitsOf(letter))
            text << name + QString::number(number);
        text += host::wordNamesOf(letter);
        ROW_COMPARE(QByteArray(1, letter).constData(), text.join(' '), QString(names));
    }
}

QTEST_GUILESS_MAIN(TestReadList)
#include "tst_readlist.moc"
