// The requests that are measured, and a controller that answers them without any delay.
#pragma once

#include <QByteArray>
#include <vector>

#include "drivers/abstractdeviceinterface.h"
#include "drivers/communicatorcommand.h"
#include "drivers/driverinterface.h"

namespace bench {

struct Request
{
    const char* name;
    bool isWrite;
    CommunicatorCommand command;
    QByteArray data; ///< what is written
};

CommunicatorCommand command(int type, const char* address, int count);
/// A ten-word read, a bit read, a bit write, a ten-word write.
std::vector<Request> requests();
/// Whether the driver has done it.
bool run(DriverInterface& driver, AbstractDeviceInterface& port, const Request& request);

const int LARGEST_ANSWER = 64;

/// What a controller sends to @p frame, DLE ACK and reply, stored at @p answer, which has
/// room for LARGEST_ANSWER bytes; how many there are. The frame is the driver's own:
/// nothing of it is checked. Reads bring up to ten words without bytes 0x10.
int answerTo(const unsigned char* frame, unsigned char* answer);

/// A port in memory: the answer to a frame is there as soon as the frame is sent.
class InstantPort : public AbstractDeviceInterface
{
public:
    int receiveData(unsigned char* buffer, int maxBytes) override;
    void sendData(const unsigned char* data, int length) override;
    void getParameter(int id, QVariant& value) override;
    void setParameter(int id, const QVariant& value) override;
    int retryCount() override { return 0; }
    int destinationAddress() override { return 1; }
    int sourceAddress() override { return 0; }
    unsigned int delayTime() override { return 0; }

private:
    unsigned char m_answer[LARGEST_ANSWER];
    int m_size = 0;
    int m_taken = 0;
};

}
