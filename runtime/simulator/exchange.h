// One line of a log for one transaction.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace simulator {

/// What a controller was asked and what came of it.
struct Exchange
{
    QByteArray request;      ///< application bytes
    QByteArray reply;        ///< likewise; empty when it gave none
    double milliseconds;     ///< from the first byte of the request to the last of the reply
    QStringList faults = {}; ///< that were played with it
};

/// Such as "0F A2 N7:0 2 bytes STS 00 1.2 ms nak"; a reply that never came reads
/// "no reply". Without its time of day.
QString textOf(const Exchange& exchange);

}
