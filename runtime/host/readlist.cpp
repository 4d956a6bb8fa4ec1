#include "host/readlist.h"

#include <QRegularExpression>

namespace host {

namespace {

/// Takes the length off @p address.
bool takeLength(QString* address, int* count, QString* error)
{
    static const QRegularExpression pattern(QStringLiteral("^(.*),[Ll]([0-9]+)\\z"));
    const QRegularExpressionMatch match = pattern.match(*address);
    if (!match.hasMatch())
        return true;
    bool isNumber = false;
    *count = match.captured(2).toInt(&isNumber);
    if (!isNumber || *count < 1) {
        *error = QStringLiteral("%1: length %2 is out of range; give 1 or more")
                     .arg(*address, match.captured(2));
        return false;
    }
    *address = match.captured(1);
    return true;
}

bool isElement(const DataPlace& place)
{
    return isThreeWordFile(place.letter) && place.word == 0 && !place.bit;
}

QStringList wordsOfElement(const QString& element, char letter)
{
    QStringList words = {element};
    for (const QString& name : wordNamesOf(letter))
        words << element + QLatin1Char('.') + name;
    return words;
}

}

std::optional<ReadItem> readItem(const QString& text, int count, const QString& form,
                                 QString* error)
{
    ReadItem item;
    item.address = text;
    QString address = text;
    if (!takeLength(&address, &count, error))
        return std::nullopt;
    const auto firstTag = tagAt(address, form, error);
    const auto first = TagAddress::parse(address, error);
    if (!firstTag || !first)
        return std::nullopt;
    const DataPlace& place = firstTag->place;
    item.isWhole = form.isEmpty() && isElement(place);
    const int step = bytesOf(firstTag->form) == 4 && place.letter != 'F' ? 2 : 1;
    for (int i = 0; i < count; ++i) {
        const QString next = first->textOf(i * step);
        for (const QString& word :
             item.isWhole ? wordsOfElement(next, place.letter) : QStringList(next)) {
            const auto tag = tagAt(word, form, error);
            if (!tag)
                return std::nullopt;
            item.tags.push_back(*tag);
        }
    }
    return item;
}

}
