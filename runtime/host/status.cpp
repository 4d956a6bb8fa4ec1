#include "host/status.h"

#include "host/wording.h"

namespace host {

namespace {

struct Meaning
{
    quint8 code;
    const char* name;
    const char* text;
    const char* hint;
};

const char* const CHECK_ADDRESS =
    "check the file's number and type and the element against the controller's program";
const char* const CHECK_SIZE = "ask for fewer values, or check how long the file is";
const char* const CHECK_PROTECTION =
    "check the file's protection in the controller's program, and its mode";
const char* const CHECK_CONTROLLER = "look at the controller's own status and its manual";
const char* const CHECK_ROUTE = "check the station number and what lies between here and it";
const char* const TRY_AGAIN = "try again, with a --delay before each attempt";

const Meaning SUCCESS = {0x00, "success", "success", ""};
const Meaning UNKNOWN = {0x00, "unknown", "a status without a name", CHECK_CONTROLLER};

/// The low digit.
const Meaning LOCAL[] = {
    {0x01, "out-of-buffers", "the destination node is out of buffers", TRY_AGAIN},
    {0x02, "no-link-ack", "the link layer got no ACK", CHECK_ROUTE},
    {0x03, "duplicate-token", "a duplicate token holder was found", CHECK_ROUTE},
    {0x04, "port-disconnected", "the local port is disconnected", CHECK_ROUTE},
    {0x05, "application-timeout", "the application layer timed out", TRY_AGAIN},
    {0x06, "duplicate-node", "a duplicate node was found", CHECK_ROUTE},
    {0x07, "offline", "the station is offline", CHECK_ROUTE},
    {0x08, "hardware-fault", "a hardware fault", CHECK_CONTROLLER},
};

/// The high digit.
const Meaning REMOTE[] = {
    {0x10, "illegal-command", "illegal command or format", CHECK_ADDRESS},
    {0x20, "will-not-communicate", "the host will not communicate", CHECK_CONTROLLER},
    {0x30, "host-missing", "the host is missing, disconnected or shut down", CHECK_ROUTE},
    {0x40, "host-hardware-fault", "a hardware fault of the host", CHECK_CONTROLLER},
    {0x50, "address-problem", "an addressing problem, or memory-protect rungs", CHECK_ADDRESS},
    {0x60, "command-protected", "command protection does not allow it", CHECK_PROTECTION},
    {0x70, "program-mode", "the controller is in Program mode", "set the controller to Run mode"},
    {0x80, "no-compatibility-file", "the compatibility file is missing", CHECK_CONTROLLER},
    {0x90, "cannot-buffer", "the station cannot buffer the command", TRY_AGAIN},
    {0xA0, "waiting-for-ack", "the station waits for an ACK", TRY_AGAIN},
    {0xB0, "download", "the station has a problem due to a download",
     "wait until the download is over"},
    {0xC0, "waiting-for-ack-too", "the station waits for an ACK", TRY_AGAIN},
    {0xF0, "extended", "an error that only EXT STS tells", CHECK_CONTROLLER},
};

/// EXT STS of command 0F.
const Meaning EXTENDED[] = {
    {0x01, "illegal-field", "a field has an illegal value", CHECK_ADDRESS},
    {0x02, "too-few-levels", "the address has too few levels", CHECK_ADDRESS},
    {0x03, "too-many-levels", "the address has too many levels", CHECK_ADDRESS},
    {0x04, "symbol-not-found", "the symbol was not found", CHECK_ADDRESS},
    {0x05, "symbol-malformed", "the symbol has a wrong form", CHECK_ADDRESS},
    {0x06, "address-unusable", "the address points to nothing usable", CHECK_ADDRESS},
    {0x07, "wrong-file-size", "the file has the wrong size", CHECK_SIZE},
    {0x08, "situation-changed", "the situation has changed since the command began", TRY_AGAIN},
    {0x09, "too-large", "the data or the file is too large", CHECK_SIZE},
    {0x0A, "past-the-end", "size and address together are too large", CHECK_SIZE},
    {0x0B, "access-denied", "access denied", CHECK_PROTECTION},
    {0x0C, "unavailable", "the resource is not available", TRY_AGAIN},
    {0x0D, "already-there", "the resource is already there", CHECK_CONTROLLER},
    {0x0E, "cannot-execute", "the command cannot be executed", CHECK_CONTROLLER},
    {0x0F, "histogram-overflow", "a histogram overflowed", CHECK_CONTROLLER},
    {0x10, "no-access", "no access", CHECK_PROTECTION},
    {0x11, "illegal-type", "illegal data type", CHECK_ADDRESS},
    {0x12, "bad-parameter", "a bad parameter or bad data", CHECK_ADDRESS},
    {0x13, "deleted-area", "the address refers to a deleted area", CHECK_ADDRESS},
    {0x14, "unknown-failure", "the command failed for an unknown reason", CHECK_CONTROLLER},
    {0x15, "conversion", "a data conversion failed", CHECK_ADDRESS},
    {0x16, "rack-adapter", "no communication with the rack adapter", CHECK_CONTROLLER},
    {0x17, "type-mismatch", "the types do not match", CHECK_ADDRESS},
    {0x18, "module-response", "a module's response was not valid", CHECK_CONTROLLER},
    {0x19, "duplicate-label", "a duplicate label", CHECK_CONTROLLER},
    {0x1A, "file-owned", "the file is owned by another station",
     "end the other program that is online with the controller"},
    {0x1B, "program-owned", "the program is owned by another station",
     "end the other program that is online with the controller"},
    {0x1E, "element-protected", "the element is protected", CHECK_PROTECTION},
    {0x1F, "internal", "a temporary internal problem", TRY_AGAIN},
    {0x22, "rack-fault", "a fault of a rack", CHECK_CONTROLLER},
    {0x23, "time-out", "a time-out", TRY_AGAIN},
    {0x24, "unknown-error", "an unknown error", CHECK_CONTROLLER},
};

template <size_t Size>
const Meaning& meaningIn(const Meaning (&table)[Size], quint8 code)
{
    for (const Meaning& meaning : table) {
        if (meaning.code == code)
            return meaning;
    }
    return UNKNOWN;
}

StatusWords wordsOf(const Meaning& meaning)
{
    return {QLatin1String(meaning.name), QLatin1String(meaning.text), QLatin1String(meaning.hint)};
}

}

StatusWords wordsOf(const Status& status)
{
    const auto local = static_cast<quint8>(status.sts & 0x0F);
    const auto remote = static_cast<quint8>(status.sts & 0xF0);
    if (status.isSuccess())
        return wordsOf(SUCCESS);
    if (remote == 0)
        return wordsOf(meaningIn(LOCAL, local));
    StatusWords words =
        wordsOf(status.sts == 0xF0 && status.extended ? meaningIn(EXTENDED, *status.extended)
                                                      : meaningIn(REMOTE, remote));
    if (local != 0)
        words.text += QStringLiteral(", and ") + QLatin1String(meaningIn(LOCAL, local).text);
    return words;
}

QString printable(const Status& status)
{
    QString text = QStringLiteral("STS ") + hexByte(status.sts);
    if (status.extended)
        text += QStringLiteral(" EXT STS ") + hexByte(*status.extended);
    return text + QStringLiteral(", ") + wordsOf(status).text;
}

}
