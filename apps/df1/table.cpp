#include "table.h"

#include <algorithm>
#include <iostream>

namespace {

std::vector<int> widthsOf(const std::vector<QStringList>& lines)
{
    std::vector<int> widths(static_cast<size_t>(lines.front().size()));
    for (const QStringList& line : lines) {
        for (size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], static_cast<int>(line.at(static_cast<int>(i)).size()));
    }
    return widths;
}

}

void printTable(const QStringList& titles, const std::vector<QStringList>& rows, int leftColumns)
{
    std::vector<QStringList> lines{titles};
    lines.insert(lines.end(), rows.begin(), rows.end());
    const std::vector<int> widths = widthsOf(lines);
    for (const QStringList& line : lines) {
        QStringList columns;
        for (int i = 0; i < titles.size(); ++i) {
            const int width = widths[static_cast<size_t>(i)];
            columns << (i < leftColumns ? line.at(i).leftJustified(width)
                                        : line.at(i).rightJustified(width));
        }
        QString text = columns.join(QStringLiteral("  "));
        while (text.endsWith(QLatin1Char(' ')))
            text.chop(1);
        std::cout << text.toStdString() << '\n';
    }
    std::cout.flush();
}
