#include "common/spifram.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <QtDebug>

namespace
{

const char DevicePath[] = "/dev/spidev1.0";

const quint8 DefaultBitsPerWord = 8;
const quint32 DefaultSpeedHz = 20000000;

// The chip's opcodes.
const char WriteStatusOpcode = 0x01;
const char WriteOpcode = 0x02;
const char ReadOpcode = 0x03;
const char WriteDisableOpcode = 0x04;
const char ReadStatusOpcode = 0x05;
const char WriteEnableOpcode = 0x06;
const char IdentificationOpcode = static_cast<char>(0x9F);
const char SleepOpcode = static_cast<char>(0xB9);

const unsigned int ChipSize = 32768;
const unsigned int HeaderLength = 3; // opcode and two bytes of address
const unsigned int HighAddressMask = 0x7F;
const unsigned int LowAddressMask = 0xFF;
const int IdentificationLength = 9;

std::mutex instanceMutex; // guards g_pSpiFram

spi_ioc_transfer transferOf(unsigned int length, quint32 speed, quint8 bits)
{
    spi_ioc_transfer transfer;
    memset(&transfer, 0, sizeof transfer);
    transfer.len = length;
    transfer.speed_hz = speed;
    transfer.bits_per_word = bits;
    return transfer;
}

quint64 addressOf(const char *bytes)
{
    return reinterpret_cast<uintptr_t>(bytes);
}

void putHeader(char opcode, unsigned int address, char *header)
{
    header[0] = opcode;
    header[1] = static_cast<char>((address >> 8) & HighAddressMask);
    header[2] = static_cast<char>(address & LowAddressMask);
}

} // namespace

SpiFram *g_pSpiFram = 0;

SpiFram *SpiFram::instance()
{
    const std::lock_guard<std::mutex> lock(instanceMutex);
    if (g_pSpiFram == 0) {
        g_pSpiFram = new SpiFram;
    }
    return g_pSpiFram;
}

SpiFram::SpiFram() : m_fd(-1), m_mode(0), m_bits(DefaultBitsPerWord), m_speed(DefaultSpeedHz)
{
    // The shell lines that the terminal runs have no business with the chip.
    m_fd = open(DevicePath, O_RDWR | O_CLOEXEC);
    if (m_fd < 0) {
        puts("Can't open SPI device ,load parameter by default!");
        return;
    }
    setUp();
}

SpiFram::~SpiFram()
{
    const std::lock_guard<std::mutex> lock(instanceMutex);
    FM25V02_Exit();
    g_pSpiFram = 0;
}

/// Takes over what the SPI driver is set to. A failure leaves the default in use.
void SpiFram::setUp()
{
    if (ioctl(m_fd, SPI_IOC_RD_MODE, &m_mode) < 0) {
        puts("can't get spi mode");
    }
    if (ioctl(m_fd, SPI_IOC_WR_MODE, &m_mode) < 0) {
        puts("can't set spi mode");
    }
    if (ioctl(m_fd, SPI_IOC_RD_BITS_PER_WORD, &m_bits) < 0) {
        puts("can't get bits per word");
    }
    if (ioctl(m_fd, SPI_IOC_RD_MAX_SPEED_HZ, &m_speed) < 0) {
        puts("can't get max speed hz");
    }
    printf("============================================================> "
           "Fram speed: %d Hz (%d KHz)\n",
           static_cast<int>(m_speed), static_cast<int>(m_speed / 1000));
}

bool SpiFram::read(unsigned int address, char *data, unsigned int length)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return FM25V02_READ(address, data, length);
}

bool SpiFram::write(unsigned int address, char *data, unsigned int length)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return FM25V02_WRITE(address, data, length);
}

bool SpiFram::FM25V02_READ(unsigned int address, char *data, unsigned int length)
{
    char header[HeaderLength];
    putHeader(ReadOpcode, address, header);
    const bool done = length <= ChipSize && ask(header, HeaderLength, data, length);
    if (!done) {
        qDebug("SpiFram::FM25V02_READ fail");
    }
    return done;
}

bool SpiFram::FM25V02_WRITE(unsigned int address, char *data, unsigned int length)
{
    if (length > ChipSize) {
        return false;
    }
    std::vector<char> frame(HeaderLength + length);
    putHeader(WriteOpcode, address, frame.data());
    std::copy(data, data + length, frame.begin() + HeaderLength);

    // Whatever fails, the rest still goes out: the latch must not stay open.
    const bool enabled = FM25V02_WREN();
    const bool sent = send(frame.data(), HeaderLength + length);
    FM25V02_WRDI();
    return enabled && sent;
}

bool SpiFram::FM25V02_WREN()
{
    return MSPISendData(WriteEnableOpcode);
}

bool SpiFram::FM25V02_WRDI()
{
    return MSPISendData(WriteDisableOpcode);
}

int SpiFram::FM25V02_RDSR()
{
    puts("FM25V02_RDSR()");
    char status = 0;
    if (!ask(&ReadStatusOpcode, 1, &status, 1)) {
        qDebug("SpiFram::FM25V02_RDSR fail");
        return -1;
    }
    return static_cast<uchar>(status);
}

bool SpiFram::FM25V02_WRSR(char status)
{
    const bool enabled = FM25V02_WREN();
    puts("FM25V02_WRSR()");
    const char frame[] = {WriteStatusOpcode, status};
    const bool sent = send(frame, sizeof frame);
    if (!sent) {
        qDebug("SpiFram::FM25V02_WRSR fail");
    }
    return enabled && sent;
}

QByteArray SpiFram::FM25V02_RDID()
{
    QByteArray identification(IdentificationLength, '\0');
    if (!ask(&IdentificationOpcode, 1, identification.data(), IdentificationLength)) {
        qDebug("SpiFram::FM25V02_RDID fail");
        return QByteArray();
    }
    return identification;
}

bool SpiFram::FM25V02_PWDN()
{
    return MSPISendData(SleepOpcode);
}

void SpiFram::FM25V02_Exit()
{
    if (m_fd >= 0) {
        close(m_fd);
        m_fd = -1;
    }
}

bool SpiFram::MSPISendData(char byte)
{
    const bool sent = send(&byte, 1);
    if (!sent) {
        qDebug("SpiFram::MSPISendData fail");
    }
    return sent;
}

/// One message of one transfer.
bool SpiFram::send(const char *bytes, unsigned int length)
{
    spi_ioc_transfer transfer = transferOf(length, m_speed, m_bits);
    transfer.tx_buf = addressOf(bytes);
    return m_fd >= 0 && ioctl(m_fd, SPI_IOC_MESSAGE(1), &transfer) == static_cast<int>(length);
}

/// One message of two transfers, in which the chip stays selected: a request and its reply.
bool SpiFram::ask(const char *request, unsigned int requestLength, char *reply,
                  unsigned int replyLength)
{
    spi_ioc_transfer transfers[] = {transferOf(requestLength, m_speed, m_bits),
                                    transferOf(replyLength, m_speed, m_bits)};
    transfers[0].tx_buf = addressOf(request);
    transfers[1].rx_buf = addressOf(reply);
    const int whole = static_cast<int>(requestLength + replyLength);
    return m_fd >= 0 && ioctl(m_fd, SPI_IOC_MESSAGE(2), transfers) == whole;
}
