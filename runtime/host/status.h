// The status bytes of a reply, STS and EXT STS, in words (publication 1770-6.5.16,
// chapter 8).
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace host {

/// What a reply says became of its request.
struct Status
{
    bool isSuccess() const { return sts == 0; }

    quint8 sts = 0;
    std::optional<quint8> extended; ///< EXT STS, of a reply with STS F0
};

struct StatusWords
{
    QString name; ///< for programs, such as "program-mode"; "unknown" for what has none
    QString text; ///< for people, such as "the controller is in Program mode"
    QString hint; ///< what to look at; empty for success
};

/// An STS of two parts, of the line (low digit) and of the controller (high digit), has
/// the words of both, the name of the controller's.
StatusWords wordsOf(const Status& status);
/// Bytes and text, such as "STS F0 EXT STS 0B, access denied".
QString printable(const Status& status);

}
