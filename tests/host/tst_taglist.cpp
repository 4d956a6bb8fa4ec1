#include <QTemporaryDir>
#include <QtTest>

#include "host/taglist.h"
#include "support/rows.h"

using host::Tag;

class TestTagList : public QObject
{
    Q_OBJECT

private slots:
    void readsWhatPeopleWrite();
    void saysWhatIsWrong();
    void showsValues();
    void readsAFile();
};

// Catches: cells under the wrong column, a quoted cell that falls apart, line ends,
// blanks, comments or a byte order mark taken for content, a wrong type by default.
void TestTagList::readsWhatPeopleWrite()
{
    const struct
    {
        const char* csv;
        const char* tags;
    } rows[] = {
        {"name,address,type,scale,unit\nLevel,N7:0,u16,0.1,%\n", "Level|N7:0|u16|0.1|%;"},
        {"Address, NAME\nN7:0 , a b\r\n\r\n \t\n#x,y\n  F8:1,b", "a b|N7:0|i16|1|;b|F8:1|f32|1|;"},
        {"\xEF\xBB\xBF\"name\",address,unit\n\"a,\"\"b\"\"\nc\" , N7:0,\"\xC2\xB0"
         "C \"\n",
         "a,\"b\"\nc|N7:0|i16|1|\xC2\xB0"
         "C ;"},
        {"name,address,type\na,B3:2/5,\nb,T4:0/DN\nc,T4:0.ACC,HEX\nd,N7:0,f32\ne,t4:1,bits\n",
         "a|B3:2/5|bit|1|;b|T4:0/DN|bit|1|;c|T4:0.ACC|hex|1|;d|N7:0|f32|1|;e|t4:1|bits|1|;"},
        {"name,address,scale\nx,N7:0,-2e-1\n,,\n", "x|N7:0|i16|-0.2|;"},
    };
    for (const auto& row : rows) {
        QString error;
        const auto tags = host::parseTagList(row.csv, &error);
        QString text = tags ? QString() : QLatin1Char('!') + error.left(15);
        for (const Tag& tag : tags.value_or(std::vector<Tag>()))
            text += QStringLiteral("%1|%2|%3|%4|%5;")
                        .arg(tag.name, tag.address, nameOf(tag.form))
                        .arg(tag.scale)
                        .arg(tag.unit);
        ROW_COMPARE(row.csv, text, QString::fromUtf8(row.tags));
    }
}

// Catches: a bad list that is taken, and an error without its line or without what
// would be right.
void TestTagList::saysWhatIsWrong()
{
    const struct
    {
        const char* csv;
        const char* line;
        const char* right;
    } rows[] = {
        {"", "line 1:", "name,address,type,scale,unit"},
        {"Level,N7:0,i16\n", "line 1: unknown column 'Level'", "name,address,type,scale,unit"},
        {"name,address,name\n", "line 1: a second column 'name'", "name,address"},
        {"name,type\n", "line 1: no column name or address", "name,address"},
        {"name,address\n# none\n", "line 1: no tags", "Level,N7:0"},
        {"name,address\n\n#\na,N7\n", "line 4: 'N7' is no address", "such as N7:0"},
        {"name,address\na,N7:0,i16\n", "line 2: 3 cells", "names 2 columns; put a cell"},
        {"name,address\na,N7:0\nb,N7:1\na,N7:2\n", "line 4: the name 'a' is taken by line 2",
         "give another"},
        {"name,address\n\"x\ny\",N7:0\nz,T4:0.XY\n", "line 4: T4:0.XY", "PRE, ACC"},
        {"name,address\n,N7:0\n", "line 2: no name", "one of its own"},
        {"name,address\na,N300:0\n", "line 2: N300:0", "0 to 255"},
        {"name,address\na,L9:0\n", "line 2: 'L9:0' is no address", "N7:0"},
        {"name,address,type\na,N7:0,int\n", "line 2: N7:0: there is no type 'int'", "i16, u16"},
        {"name,address,type\na,N7:0,bit\n", "line 2: N7:0: it can't have type 'bit'", "i16"},
        {"name,address,type\na,B3:0/1,u16\n", "line 2: B3:0/1: it can't", "give bit"},
        {"name,address,type\na,F8:0,i32\n", "line 2: F8:0: it can't", "give f32"},
        {"name,address,type\na,T4:0.ACC,u32\n", "line 2: T4:0.ACC: it can't", "i16"},
        {"name,address,type\na,N7:65535,u32\n", "line 2: N7:65535: it can't", "i16"},
        {"name,address,scale\na,N7:0,0\n", "line 2: scale '0'", "other than 0"},
        {"name,address,scale\na,N7:0,\"0,1\"\n", "line 2: scale '0,1'", "such as 0.1"},
        {"name,address,scale\na,N7:0,inf\n", "line 2: scale 'inf'", "such as 0.1"},
        {"name,address,type,scale\na,N7:0,hex,2\n", "line 2: type hex has no scale", "leave it"},
        {"name,address\n\"a,N7:0\n", "line 2: a quote that is not closed", "end the cell"},
        {"name,address\n\"a\"b,N7:0\n", "line 2: text behind a closing quote", "comma"},
        {"name,address\na\"b,N7:0\n", "line 2: a quote inside", "in quotes"},
        {"name,address\n\xB0,N7:0\n", "line 2: the text is not UTF-8", "save"},
    };
    for (const auto& row : rows) {
        QString error;
        QVERIFY2(!host::parseTagList(row.csv, &error), row.csv);
        ROW_COMPARE(row.csv, error.left(static_cast<int>(qstrlen(row.line))), QString(row.line));
        QVERIFY2(error.contains(QLatin1String(row.right)), qPrintable(error));
    }
}

// Catches: a sign, a digit, a bit or the decimal point lost on the way to the reader.
void TestTagList::showsValues()
{
    const struct
    {
        const char* type;
        quint32 bits;
        double scale;
        const char* text;
    } rows[] = {
        {"bit", 1, 1, "1"},
        {"i16", 0xFFFE, 1, "-2"},
        {"u16", 0xFFFE, 1, "65534"},
        {"i16", 73, 0.1, "7.3"},
        {"i16", 10000, 10, "100000"},
        {"hex", 0xAB, 1, "0x00AB"},
        {"bin", 5, 1, "0b0000000000000101"},
        {"bits", 0x8005, 1, "0+2+15"},
        {"bits", 0, 1, "-"},
        {"i32", 0xFFFFFFFE, 1, "-2"},
        {"u32", 0xFFFFFFFE, 1, "4294967294"},
        {"f32", 0x4293CCCD, 1, "73.9"},
        {"f32", 0x3DCCCCCD, 10, "1"},
        {"f32", 0, 1, "0"},
        {"f32", 0x47C35000, 1, "100000"},
        {"f32", 0x7E967699, 1, "1e+38"},
    };
    for (const auto& row : rows) {
        const host::FormedValue value = {host::formNamed(row.type).value(), row.bits};
        ROW_COMPARE(row.type, value.text(row.scale), QString(row.text));
    }
}

// Catches: a file's error without its name, and a file that can't be read in silence.
void TestTagList::readsAFile()
{
    const QTemporaryDir directory;
    QFile file(directory.filePath("tags.csv"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("name,address\na,N7\n") > 0);
    file.close();
    for (const QString& name : {file.fileName(), directory.path(), QString("/none.csv")}) {
        QString error;
        QVERIFY(!host::loadTagList(name, &error));
        QVERIFY2(error.startsWith(name + ": ") && error.size() > name.size() + 4,
                 qPrintable(error));
    }
}

QTEST_APPLESS_MAIN(TestTagList)
#include "tst_taglist.moc"
