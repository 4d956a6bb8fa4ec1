// Tables on standard output.
#pragma once

#include <QStringList>
#include <vector>

/// Prints @p titles and @p rows, as many texts each, in columns two blanks apart:
/// the first @p leftColumns to the left, the others to the right.
void printTable(const QStringList& titles, const std::vector<QStringList>& rows, int leftColumns);
