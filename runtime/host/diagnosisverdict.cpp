// What a diagnosis says, in words.
#include "host/diagnosis.h"

namespace host {

namespace {

QString hexadecimal(int number, int digits)
{
    return QString::number(number, 16).toUpper().rightJustified(digits, QLatin1Char('0'));
}

/// "19200,NONE,8,1", or what stands for it where it can't be told.
QString lineOf(const Diagnosis& diagnosis)
{
    return diagnosis.hasLineSettings ? diagnosis.line.toText() : QStringLiteral("this port");
}

QString settingsAdvice(const Diagnosis& diagnosis)
{
    return diagnosis.hasLineSettings
               ? QString()
               : QStringLiteral(" (speed and parity can't be told on this port: look them up at "
                                "the device server)");
}

QString whoOf(const Diagnosis& diagnosis)
{
    const QString station = QStringLiteral("station %1").arg(diagnosis.station);
    if (!diagnosis.controller)
        return station + QStringLiteral(", a controller that does not tell its name");
    const ControllerStatus& controller = *diagnosis.controller;
    return QStringLiteral("%1, %2, %3, program ID %4, %5 KB")
        .arg(station, identityText(controller), modeText(controller),
             hexadecimal(controller.programId, 4))
        .arg(controller.ramKilobytes);
}

QString healthyText(const Diagnosis& diagnosis, const DiagnosisSettings& settings)
{
    QString text = QStringLiteral("healthy: ");
    if (diagnosis.station != settings.station)
        text = QStringLiteral("answers from station %1, not %2: ")
                   .arg(diagnosis.station)
                   .arg(settings.station);
    else if (!isHealthyAsGiven(diagnosis, settings))
        text = QStringLiteral("healthy, but at %1, not at %2: ")
                   .arg(diagnosis.line.toText(), settings.line.toText());
    return text + whoOf(diagnosis);
}

QString silenceText(const Diagnosis& diagnosis)
{
    const QString tried = diagnosis.linesTried > 1
                              ? QStringLiteral("%1 line settings").arg(diagnosis.linesTried)
                              : lineOf(diagnosis);
    return QStringLiteral("silence: nothing came back at %1; check cable and power, and that the "
                          "channel is set to DF1 full duplex%2")
        .arg(tried, settingsAdvice(diagnosis));
}

QString echoText(const Diagnosis& diagnosis)
{
    if (diagnosis.controller)
        return QStringLiteral("own echo: what is sent comes back in front of the answers of %1; "
                              "switch the echo of the converter off")
            .arg(whoOf(diagnosis));
    return QStringLiteral("own echo: what is sent comes back, and nobody answers; the line is "
                          "looped, or the controller behind an echoing converter is silent");
}

}

QString nameOf(Finding finding)
{
    static const char* const names[] = {"silence",      "garbage",  "naks",    "unanswered",
                                        "misnamed",     "port",     "echo",    "bcc",
                                        "flow-control", "unsteady", "refused", "healthy"};
    return QLatin1String(names[static_cast<int>(finding)]);
}

bool isHealthyAsGiven(const Diagnosis& diagnosis, const DiagnosisSettings& settings)
{
    return diagnosis.finding == Finding::Healthy && diagnosis.station == settings.station
           && (!diagnosis.hasLineSettings || diagnosis.line.toText() == settings.line.toText());
}

QString verdictOf(const Diagnosis& diagnosis, const DiagnosisSettings& settings)
{
    switch (diagnosis.finding) {
    case Finding::Silence:
        return silenceText(diagnosis);
    case Finding::Garbage:
        return QStringLiteral("garbage: bytes came at %1 that are no answer; probably the speed or "
                              "the parity is wrong, or the channel is not set to DF1 full "
                              "duplex%2")
            .arg(lineOf(diagnosis), settingsAdvice(diagnosis));
    case Finding::Naks:
        return QStringLiteral("only NAKs: frames with CRC and with BCC alike arrive damaged at %1; "
                              "probably noise, or a wrong parity%2")
            .arg(lineOf(diagnosis), settingsAdvice(diagnosis));
    case Finding::Unanswered:
        return QStringLiteral("no station answers: frames with %1 are acknowledged at %2, but none "
                              "of the stations 0 to 254 replies; check the station number of the "
                              "channel, or give a longer --timeout")
            .arg(diagnosis.check == CheckMethod::Crc ? QStringLiteral("CRC")
                                                     : QStringLiteral("BCC"),
                 lineOf(diagnosis));
    case Finding::Misnamed:
        return QStringLiteral("wrong station: replies to station %1 name station %2, which does "
                              "not answer itself")
            .arg(diagnosis.station)
            .arg(diagnosis.named);
    case Finding::PortFault:
        return diagnosis.fault;
    case Finding::Echo:
        return echoText(diagnosis);
    case Finding::Bcc:
        return QStringLiteral("only NAKs to frames with CRC, answers to frames with BCC: set the "
                              "error detection of the channel to CRC, the only one that the "
                              "driver speaks; it is %1")
            .arg(whoOf(diagnosis));
    case Finding::FlowControl:
        return QStringLiteral("bytes 11 and 13 do not get through: switch software flow control "
                              "(XON/XOFF) off at the converter or device server; it is %1")
            .arg(whoOf(diagnosis));
    case Finding::Unsteady:
        return QStringLiteral("unsteady: %1 of %2 echoes were lost, damaged, not acknowledged or "
                              "among stray bytes; check cable, shield and ground; it is %3")
            .arg(diagnosis.lost)
            .arg(diagnosis.asked)
            .arg(whoOf(diagnosis));
    case Finding::Refused:
        return QStringLiteral("refused: station %1 answers every question with status %2")
            .arg(diagnosis.station)
            .arg(hexadecimal(diagnosis.status, 2));
    case Finding::Healthy:
        break;
    }
    return healthyText(diagnosis, settings);
}

QString optionsFor(const Diagnosis& diagnosis, const QString& port)
{
    if (diagnosis.finding < Finding::Bcc && !diagnosis.controller)
        return QString();
    QString options = QStringLiteral("--port ") + port;
    if (diagnosis.hasLineSettings)
        options += QStringLiteral(" --line ") + diagnosis.line.toText();
    return options + QStringLiteral(" --station %1").arg(diagnosis.station);
}

}
