// What a station counts of its link, for the diagnostics of the controller.
#pragma once

#include <QtGlobal>

namespace simulator {

/// Counted from the station's making on; after 65535 comes 0.
struct LinkCounters
{
    quint16 sent = 0;         ///< replies put on the line; repetitions don't count
    quint16 received = 0;     ///< sound messages taken, for whatever station number
    quint16 undelivered = 0;  ///< replies dropped after the last retry
    quint16 enqsSent = 0;     ///< enquiries for a missing acknowledgement
    quint16 naksReceived = 0; ///< NAKs, whether or not a reply was waiting for one
    quint16 enqsReceived = 0;
    quint16 badMessages = 0; ///< damaged or too short, and answered NAK
    quint16 noMemory = 0;    ///< sound messages answered NAK for want of room
    quint16 duplicates = 0;  ///< messages acknowledged and discarded
};

}
