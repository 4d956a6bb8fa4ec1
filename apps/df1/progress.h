// How far something that takes its time has come, for people in front of a terminal.
#pragma once

#include <QString>

#include "endsignals.h"
#include "output.h"

/// A line on standard error that is written over again and again, where that is a
/// terminal and nobody asked for quiet; elsewhere nothing. Gone at the end of its life.
class Progress
{
public:
    explicit Progress(const OutputOptions& options);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(const QString& text);
    /// A bar behind @p text; @p total is above 0.
    void show(const QString& text, int done, int total);
    void clear();
    /// Prints a line that stays, as tell() does.
    void tell(const QString& message);

private:
    const OutputOptions& m_options;
    const bool m_isShown;
    QString m_text;
};

/// Throws Failure with @p text once Ctrl-C has come.
void throwIfEnded(EndSignals& ending, const QString& text);
