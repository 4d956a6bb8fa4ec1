#include "host/taglist.h"

#include <QFile>
#include <QHash>
#include <array>
#include <cmath>

#include "host/csvreader.h"

namespace host {

namespace {

enum Column
{
    NAME,
    ADDRESS,
    TYPE,
    SCALE,
    UNIT,
    COLUMNS
};

const char* const TITLES[COLUMNS] = {"name", "address", "type", "scale", "unit"};
const char* const HEADER = "name,address,type,scale,unit";

QString namesOf(const QList<ValueForm>& forms)
{
    QStringList names;
    for (const ValueForm form : forms)
        names << nameOf(form);
    return names.join(QStringLiteral(", "));
}

std::optional<ValueForm> formOf(const QString& type, const QList<ValueForm>& forms,
                                const QString& address, QString* error)
{
    if (type.isEmpty())
        return forms.first();
    const auto form = formNamed(type);
    if (form && forms.contains(*form))
        return form;
    *error =
        QStringLiteral("%1: %2 '%3'; give %4%5")
            .arg(address,
                 form ? QStringLiteral("it can't have type") : QStringLiteral("there is no type"),
                 type, forms.size() > 1 ? QStringLiteral("one of ") : QString(), namesOf(forms));
    return std::nullopt;
}

/// Which cell of a row is which column; the first row says.
class Columns
{
public:
    bool read(const QStringList& titles, QString* error)
    {
        m_cells.fill(-1);
        m_count = static_cast<int>(titles.size());
        for (int cell = 0; cell < m_count; ++cell) {
            const int column = numberOf(titles.at(cell));
            if (column < 0 || m_cells[static_cast<size_t>(column)] >= 0) {
                *error = QStringLiteral("%1 '%2'; the first line names the columns: %3")
                             .arg(column < 0 ? QStringLiteral("unknown column")
                                             : QStringLiteral("a second column"),
                                  titles.at(cell), QLatin1String(HEADER));
                return false;
            }
            m_cells[static_cast<size_t>(column)] = cell;
        }
        if (m_cells[NAME] >= 0 && m_cells[ADDRESS] >= 0)
            return true;
        *error = QStringLiteral("no column name or address; the first line names the columns: %1")
                     .arg(QLatin1String(HEADER));
        return false;
    }

    int count() const { return m_count; }

    /// Empty where the row is too short.
    QString in(const QStringList& row, Column column) const
    {
        const int cell = m_cells[column];
        return cell >= 0 && cell < row.size() ? row.at(cell) : QString();
    }

private:
    static int numberOf(const QString& title)
    {
        for (int column = 0; column < COLUMNS; ++column) {
            if (title.compare(QLatin1String(TITLES[column]), Qt::CaseInsensitive) == 0)
                return column;
        }
        return -1;
    }

    std::array<int, COLUMNS> m_cells = {};
    int m_count = 0;
};

bool readScale(const QString& text, Tag* tag, QString* error)
{
    bool isScale = false;
    tag->scale = text.isEmpty() ? 1 : text.toDouble(&isScale);
    if (!text.isEmpty() && (!isScale || !std::isfinite(tag->scale) || tag->scale == 0)) {
        *error = QStringLiteral("scale '%1' is no factor; give a number other than 0, such as 0.1")
                     .arg(text);
        return false;
    }
    if (tag->scale == 1 || isNumber(tag->form))
        return true;
    *error = QStringLiteral("type %1 has no scale; leave it empty").arg(nameOf(tag->form));
    return false;
}

std::optional<Tag> tagOf(const QStringList& row, const Columns& columns, QString* error)
{
    if (row.size() > columns.count()) {
        *error = QStringLiteral("%1 cells, but the first line names %2 columns; put a cell with a "
                                "comma in quotes")
                     .arg(row.size())
                     .arg(columns.count());
        return std::nullopt;
    }
    const QString name = columns.in(row, NAME);
    if (name.isEmpty()) {
        *error = QStringLiteral("no name; every tag needs one of its own");
        return std::nullopt;
    }
    auto tag = tagAt(columns.in(row, ADDRESS), columns.in(row, TYPE), error);
    if (!tag || !readScale(columns.in(row, SCALE), &*tag, error))
        return std::nullopt;
    tag->name = name;
    tag->unit = columns.in(row, UNIT);
    return tag;
}

/// Reads the rows, and gives what is wrong with the last of them.
class Parser
{
public:
    explicit Parser(const QByteArray& csv)
        : m_reader(csv)
    {}

    bool run()
    {
        QStringList row;
        if (!m_reader.next(&row)) {
            m_error = m_reader.error();
            if (m_error.isEmpty())
                m_error = QStringLiteral("nothing in it; the first line names the columns: %1")
                              .arg(QLatin1String(HEADER));
            return false;
        }
        if (!m_columns.read(row, &m_error))
            return false;
        while (m_reader.next(&row)) {
            if (row.join(QString()).isEmpty()) // as spreadsheets save a blank line
                continue;
            auto tag = tagOf(row, m_columns, &m_error);
            if (!tag || !isNew(*tag))
                return false;
            m_tags.push_back(std::move(*tag));
        }
        m_error = m_reader.error();
        if (m_error.isEmpty() && m_tags.empty())
            m_error = QStringLiteral("no tags; give a line such as Level,N7:0,i16,0.1,%");
        return m_error.isEmpty();
    }

    std::vector<Tag> takeTags() { return std::move(m_tags); }
    QString error() const
    {
        // A quoted cell may bring line ends into it.
        return QStringLiteral("line %1: %2")
            .arg(qMax(1, m_reader.line()))
            .arg(m_error.simplified());
    }

private:
    bool isNew(const Tag& tag)
    {
        const int line = m_lines.value(tag.name);
        m_lines.insert(tag.name, m_reader.line());
        if (line != 0)
            m_error = QStringLiteral("the name '%1' is taken by line %2; give another")
                          .arg(tag.name)
                          .arg(line);
        return line == 0;
    }

    CsvReader m_reader;
    Columns m_columns;
    std::vector<Tag> m_tags;
    QHash<QString, int> m_lines;
    QString m_error;
};

}

std::optional<Tag> tagAt(const QString& address, const QString& type, QString* error)
{
    const auto parsed = TagAddress::parse(address, error);
    if (!parsed)
        return std::nullopt;
    if (!parsed->place()) {
        *error = QStringLiteral("'%1' is no address; give a file and an element, such as N7:0, "
                                "F8:1, B3:2/5, T4:0.ACC or T4:0/DN")
                     .arg(address);
        return std::nullopt;
    }
    const auto form = formOf(type, formsAt(*parsed->place()), address, error);
    if (!form)
        return std::nullopt;
    Tag tag;
    tag.name = address;
    tag.address = address;
    tag.place = *parsed->place();
    tag.form = *form;
    return tag;
}

std::optional<std::vector<Tag>> parseTagList(const QByteArray& csv, QString* error)
{
    Parser parser(csv);
    if (parser.run())
        return parser.takeTags();
    *error = parser.error();
    return std::nullopt;
}

std::optional<std::vector<Tag>> loadTagList(const QString& fileName, QString* error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("%1: %2").arg(fileName, file.errorString());
        return std::nullopt;
    }
    const QByteArray csv = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        *error = QStringLiteral("%1: %2").arg(fileName, file.errorString());
        return std::nullopt;
    }
    auto tags = parseTagList(csv, error);
    if (!tags)
        error->prepend(fileName + QStringLiteral(": "));
    return tags;
}

}
