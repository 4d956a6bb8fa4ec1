// The driver for Allen-Bradley MicroLogix controllers: DF1 full duplex on the
// line, PCCC typed commands inside the frames.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include "drivers/abstractdeviceinterface.h"
#include "drivers/driverinterface.h"
#include "drivers/qtcompat.h"

/// One driver object: error state, transaction number and receive buffer.
///
/// Works entirely inside the host's call, on its thread, and keeps nothing of
/// port or request. Objects share nothing; one object takes one call at a time.
///
/// Failure texts, for hosts that tell them apart: "PLC no response", "packet
/// loss", "PLC no ack", "invalid PLC response", "invalid response from PLC",
/// "invalid response from PLC1", "invalid response from PLC3", "read " + address +
/// ":request CRC error", "read " + address + ":response CRC error", "invalid
/// address:" + address (the controller's refusal, or a request that no command
/// can carry), "invalid address format" and "invalid bit address format".
class Q_DECL_EXPORT DriverABMicroLogix : public QObject, public DriverInterface
{
    Q_OBJECT
    DRIVER_PLUGIN_METADATA("com.tavelmor.drivers.DriverInterface/1.1")
    Q_INTERFACES(DriverInterface)

public:
    DriverABMicroLogix();
    ~DriverABMicroLogix() override;

    int totalSize() override;
    /// One command for a bit and for all words of a word file, at most 255 bytes;
    /// one command a word for timers, counters and controls. A write that fails
    /// half-way leaves the words confirmed so far, and begins again when retried.
    bool write(AbstractDeviceInterface* port, const CommunicatorCommand& command,
               const QByteArray& data) override;
    /// At most 123 words, 41 timer, counter or control elements or 61 floats a
    /// request, and the bits that so many hold, fewer when the data hold bytes
    /// 0x10; requests are never split.
    QByteArray read(AbstractDeviceInterface* port, const CommunicatorCommand& command) override;
    bool initialize(AbstractDeviceInterface* port) override;
    int validation(const QString& text) override;
    QString name() override;
    QString vender() override;
    QString getVersionNumber() override;
    DeviceSetting* getDefaultSerialDeviceSetting() override;
    DriverSetting* getDefaultDriverSetting() override;
    QString getStringBasedDefaultDriverSetting() override;
    int supportedCommunicationFlags() override;
    void setDebugMode(bool on) override;
    int getBlockAccessSize() override;
    int getBitBlockAccessSize() override;
    /// Also asked by read and write to decide about a further attempt, so a
    /// subclass that overrides it decides about retries.
    bool hasError() override;
    QString getLastError() override;
    QObject* getThisObject() override;

    /// Clears the error flag; the last text stays.
    void clearError();
    /// Sets the error flag and replaces the last text.
    void setCommError(const QString& text);
    /// Transaction number of the request last built; 0 before the first.
    unsigned short getTNS() const;
    /// Advances the transaction number, 1 to 65535 and round again, and returns it.
    unsigned short getNextTNS();
    /// The panel's own station, low 8 bits of the port's sourceAddress().
    unsigned char getSourceAddr(AbstractDeviceInterface* port);

private:
    // Attempts of read and write.
    void beginAttempt(AbstractDeviceInterface* port);
    bool isLastAttempt(AbstractDeviceInterface* port, int attempt);

    // Reads.
    bool readOnce(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                  QByteArray& result);
    QByteArray readWords(AbstractDeviceInterface* port, const QString& address, int count);
    QByteArray readNamedWords(AbstractDeviceInterface* port, const QString& address, int count);
    QByteArray readFloats(AbstractDeviceInterface* port, const QString& address, int count);
    QByteArray readBits(AbstractDeviceInterface* port, const CommunicatorCommand& command);
    QByteArray readO_I_S2_B3_N7_Bits(AbstractDeviceInterface* port, const QString& address,
                                     const QByteArray& fileName, unsigned short element,
                                     unsigned short bit, int count);
    QByteArray readT4_C5_R6Bits(AbstractDeviceInterface* port, const QString& address,
                                const QByteArray& fileName, unsigned short element,
                                unsigned char bit, int count);
    QByteArray readType2BitAddr(AbstractDeviceInterface* port, const QString& address,
                                const QByteArray& fileName, unsigned short element,
                                const QByteArray& mnemonic, int count);
    QByteArray readType3BitAddr(AbstractDeviceInterface* port, const QString& address,
                                const QByteArray& fileName, unsigned short element,
                                const QByteArray& wordName, unsigned char bit, int count);
    bool readImage(AbstractDeviceInterface* port, const QString& address,
                   const QByteArray& fileName, unsigned short element, qint64 size,
                   QByteArray& image);

    // Writes.
    bool writeOnce(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                   const QByteArray& data, bool& result);
    bool writeBit(AbstractDeviceInterface* port, const CommunicatorCommand& command,
                  const QByteArray& data);
    bool writeBytes(AbstractDeviceInterface* port, const QString& address, const QByteArray& data);
    bool writeType1WordAddr(AbstractDeviceInterface* port, const QString& address,
                            const QByteArray& fileName, unsigned short element,
                            const QByteArray& data);
    bool writeT4_C5_R6(AbstractDeviceInterface* port, const QString& address,
                       const QByteArray& fileName, unsigned short element, const QByteArray& data);
    bool writeType2WordAddr(AbstractDeviceInterface* port, const QString& address,
                            const QByteArray& fileName, unsigned short element,
                            unsigned char subElement, const QByteArray& data);
    bool writeCommand(AbstractDeviceInterface* port, const QString& address,
                      const QByteArray& fileName, unsigned short element, unsigned char subElement,
                      const QByteArray& data);

    // What no command can carry is refused as a controller refuses it.
    bool refuse(const QString& address);
    bool canName(const QString& address, const QByteArray& fileName);

    // The common transaction. Each step sets the error text and gives false
    // when it ends the transaction. The buffer is always m_buffer.
    bool runReadTransaction(AbstractDeviceInterface* port, const QString& address,
                            const QByteArray& frame, int dataBytes, QByteArray& data);
    bool runWriteTransaction(AbstractDeviceInterface* port, const QString& address,
                             const QByteArray& frame);
    bool sendRequest(AbstractDeviceInterface* port, const QString& address,
                     const QByteArray& frame);
    bool readDleAck(AbstractDeviceInterface* port, unsigned char* pair, const QString& address);
    bool readDleStx(AbstractDeviceInterface* port, unsigned char* pair);
    bool receivePair(AbstractDeviceInterface* port, unsigned char* pair);
    int readMinReadRsp(AbstractDeviceInterface* port, unsigned char* destination, int room,
                       int wanted);
    bool checkMinReadRsp(AbstractDeviceInterface* port, QByteArray& buffer, int n);
    bool checkSts(AbstractDeviceInterface* port, const QString& address, QByteArray& buffer,
                  int position);
    int readExtStsDleEtxCrc(AbstractDeviceInterface* port, unsigned char* destination);
    int readDataDleEtxCrc(AbstractDeviceInterface* port, unsigned char* destination, int room,
                          unsigned char dataBytes, int total);
    bool checkDataDleEtxCrc(const QString& address, QByteArray& buffer, int total, int n);
    bool checkWriteRsp(const QString& address, QByteArray& buffer, int n);

    enum
    {
        ReceiveBufferSize = 260
    };

    bool m_hasError;
    bool m_debugMode;
    unsigned short m_tns;
    QRegExp m_bitAddress;
    QRegExp m_mnemonicBitAddress;
    QRegExp m_subElementBitAddress;
    QRegExp m_wordAddress;
    QRegExp m_subElementAddress;
    QByteArray m_buffer;
    QString m_lastError;
};
