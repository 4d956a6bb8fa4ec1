// A port without a line, for dry runs.
#pragma once

#include <QByteArray>
#include <vector>

#include "host/deviceport.h"

/// Keeps every frame that the driver sends, and confirms it as a controller
/// would, so that a write of several commands goes on to its end.
class Rehearsal : public AbstractDeviceInterface
{
public:
    /// @p settings: the stations; nothing is waited for or tried again.
    explicit Rehearsal(const host::PortSettings& settings);

    /// The request frames so far, as they would go out.
    const std::vector<QByteArray>& frames() const { return m_frames; }

    int receiveData(unsigned char* buffer, int maxBytes) override;
    void sendData(const unsigned char* data, int length) override;
    void getParameter(int id, QVariant& value) override;
    void setParameter(int id, const QVariant& value) override;
    int retryCount() override { return 0; }
    int destinationAddress() override { return m_destination; }
    int sourceAddress() override { return m_source; }
    unsigned int delayTime() override { return 0; }

private:
    int m_destination;
    int m_source;
    std::vector<QByteArray> m_frames;
    QByteArray m_input;
};
