#include "simulator/simulator.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <mutex>
#include <sstream>
#include <thread>

#include "simulator/cpl_frame.h"
#include "simulator/image.h"
#include "simulator/line.h"

namespace
{

typedef std::chrono::steady_clock SteadyClock;
typedef SteadyClock::time_point TimePoint;

const int BitsPerByte = 11; // start, eight data bits, parity, stop
const size_t SliceBytes = 16;
const int LostPortPauseMs = 20;
const int UnpacedBabbleBaud = 38400; // without a pace a babble would fill the machine

std::string systemError(const std::string &what)
{
    return what + ": " + std::strerror(errno);
}

bool speedOf(int baud, speed_t *speed)
{
    static const struct {
        int baud;
        speed_t speed;
    } speeds[] = {{1200, B1200},   {2400, B2400},   {4800, B4800},   {9600, B9600},
                  {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200}};
    for (const auto &candidate : speeds) {
        if (candidate.baud == baud) {
            *speed = candidate.speed;
            return true;
        }
    }
    return false;
}

/// Bytes on their way out.
struct Transmission {
    std::string bytes;
    TimePoint begin;
    size_t sent;
    bool babble;   ///< `bytes` are repeated until `end`
    TimePoint end; ///< TimePoint::max(): with the last byte, or when the faults are cleared
};

} // namespace

/// What runs in the thread, and everything that it shares.
class Simulator::Engine
{
public:
    explicit Engine(const SimulatorOptions &options)
        : m_options(options), m_epoch(SteadyClock::now()), m_line(options.stations, options.seed),
          m_master(-1), m_slave(-1), m_stop(false), m_bytes_in(0), m_bytes_out(0)
    {
        m_wake[0] = m_wake[1] = -1;
        for (const Fault &fault : options.faults)
            m_line.addFault(fault);
    }

    bool start(std::string *error)
    {
        if (m_thread.joinable()) {
            *error = "the simulator runs already";
            return false;
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        forgetLastRun();
        if (loadImage(error) && openTrace(error) && openPort(error) && makeLink(error)) {
            m_thread = std::thread(&Engine::run, this);
            return true;
        }
        closeAll();
        return false;
    }

    void stop()
    {
        if (m_thread.joinable()) {
            locked([this] {
                m_stop = true;
                wake();
            });
            m_thread.join();
        }
        locked([this] { closeAll(); });
    }

    /// Runs a change or a question under the lock, which all that follows up to the private part
    /// needs.
    template <typename Action>
    auto locked(Action action) const -> decltype(action())
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return action();
    }

    std::string portName() const { return m_link.empty() ? m_pty_name : m_link; }

    void clearFaults()
    {
        m_line.clearFaults();
        m_outgoing.erase(std::remove_if(m_outgoing.begin(), m_outgoing.end(),
                                        [](const Transmission &t) { return t.babble; }),
                         m_outgoing.end());
        wake();
    }

    Line &line() { return m_line; }
    std::vector<std::string> requests() const
    {
        return std::vector<std::string>(m_requests.begin(), m_requests.end());
    }
    uint64_t bytesIn() const { return m_bytes_in; }
    uint64_t bytesOut() const { return m_bytes_out; }

private:
    // ---- Setting up ----------------------------------------------------------------------------

    void forgetLastRun()
    {
        m_stop = false;
        m_bytes_in = m_bytes_out = 0;
        m_requests.clear();
        m_outgoing.clear();
        m_splitter = CplLineSplitter();
        m_receive_free = m_send_free = SteadyClock::now();
    }

    bool loadImage(std::string *error)
    {
        if (m_options.imageFile.empty())
            return true;
        std::ifstream stream(m_options.imageFile.c_str());
        if (!stream) {
            *error = systemError("cannot read image " + m_options.imageFile);
            return false;
        }
        std::vector<ImageEntry> entries;
        if (!readImage(stream, &entries, error)) {
            *error = "image " + m_options.imageFile + ", " + *error;
            return false;
        }
        for (const ImageEntry &entry : entries) {
            if (!m_line.hasStation(entry.station)) {
                *error = "image " + m_options.imageFile + ": station " +
                         std::to_string(entry.station) + " is not on the line";
                return false;
            }
            m_line.setWord(entry.station, entry.address, entry.value);
        }
        return true;
    }

    bool openTrace(std::string *error)
    {
        if (m_options.traceFile.empty())
            return true;
        m_trace.open(m_options.traceFile.c_str(), std::ios::app);
        if (!m_trace)
            *error = systemError("cannot write trace " + m_options.traceFile);
        return static_cast<bool>(m_trace);
    }

    bool openPort(std::string *error)
    {
        if (pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0) {
            *error = systemError("cannot make a pipe");
            return false;
        }
        return m_options.port.empty() ? openPty(error) : openDevice(error);
    }

    bool openPty(std::string *error)
    {
        char name[128] = "";
        if (openpty(&m_master, &m_slave, name, nullptr, nullptr) != 0) {
            *error = systemError("cannot make a pty");
            return false;
        }
        // The slave stays open here: a pty whose last reader closes it would hang up for good.
        struct termios settings;
        tcgetattr(m_slave, &settings);
        cfmakeraw(&settings);
        tcsetattr(m_slave, TCSANOW, &settings);
        fcntl(m_master, F_SETFL, O_NONBLOCK);
        fcntl(m_master, F_SETFD, FD_CLOEXEC);
        fcntl(m_slave, F_SETFD, FD_CLOEXEC);
        m_pty_name = name;
        return true;
    }

    bool openDevice(std::string *error)
    {
        speed_t speed = B38400;
        if (m_options.baud != 0 && !speedOf(m_options.baud, &speed)) {
            *error = std::to_string(m_options.baud) + " is no baud rate of a serial port";
            return false;
        }
        m_master = open(m_options.port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        struct termios settings;
        if (m_master < 0 || tcgetattr(m_master, &settings) != 0) {
            *error = systemError("cannot open port " + m_options.port);
            return false;
        }
        cfmakeraw(&settings);
        settings.c_cflag |= CLOCAL | CREAD | PARENB; // 8E1
        settings.c_cflag &= ~static_cast<tcflag_t>(PARODD | CSTOPB);
        cfsetispeed(&settings, speed);
        cfsetospeed(&settings, speed);
        if (tcsetattr(m_master, TCSANOW, &settings) == 0)
            return true;
        *error = systemError("cannot set up port " + m_options.port);
        return false;
    }

    /// Puts the link in its place in one step, so that nobody ever finds it half made.
    bool makeLink(std::string *error)
    {
        if (m_options.ptyLink.empty() || m_pty_name.empty())
            return true;
        // No living simulator has the same pty: a link left under this name is of a dead one.
        const std::string number = m_pty_name.substr(m_pty_name.rfind('/') + 1);
        const std::string temporary = m_options.ptyLink + ".pty" + number;
        if (!mayBeReplaced(m_options.ptyLink, error) || !mayBeReplaced(temporary, error))
            return false;
        unlink(temporary.c_str());
        if (symlink(m_pty_name.c_str(), temporary.c_str()) != 0 ||
            rename(temporary.c_str(), m_options.ptyLink.c_str()) != 0) {
            *error = systemError("cannot make link " + m_options.ptyLink);
            unlink(temporary.c_str());
            return false;
        }
        m_link = m_options.ptyLink;
        return true;
    }

    static bool mayBeReplaced(const std::string &link, std::string *error)
    {
        struct stat status;
        if (lstat(link.c_str(), &status) != 0 || S_ISLNK(status.st_mode))
            return true;
        *error = link + " exists and is no symbolic link";
        return false;
    }

    /// Removes the link unless another simulator has taken it over.
    void removeLink()
    {
        char target[128] = "";
        const ssize_t length = readlink(m_link.c_str(), target, sizeof target);
        if (length > 0 && std::string(target, static_cast<size_t>(length)) == m_pty_name)
            unlink(m_link.c_str());
        m_link.clear();
    }

    void closeAll()
    {
        if (!m_link.empty())
            removeLink();
        m_trace.close();
        m_trace.clear();
        for (int *fd : {&m_master, &m_slave, &m_wake[0], &m_wake[1]}) {
            if (*fd >= 0)
                close(*fd);
            *fd = -1;
        }
        m_pty_name.clear();
    }

    // ---- The thread ----------------------------------------------------------------------------

    void wake()
    {
        if (m_wake[1] >= 0 && write(m_wake[1], "", 1) < 0) {
            // A full pipe wakes the thread as well.
        }
    }

    void run()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_stop) {
            const TimePoint due = sendWhatIsDue();
            lock.unlock();
            const bool readable = waitUntil(due);
            lock.lock();
            if (readable)
                receive();
        }
    }

    /// Waits for bytes, a wake-up or a time, whichever comes first.
    bool waitUntil(TimePoint due)
    {
        struct pollfd fds[] = {{m_master, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        struct timespec left = {3600, 0};
        if (due != TimePoint::max()) {
            const auto ns = std::max(
                std::chrono::nanoseconds(0),
                std::chrono::duration_cast<std::chrono::nanoseconds>(due - SteadyClock::now()));
            left.tv_sec = static_cast<time_t>(ns.count() / 1000000000);
            left.tv_nsec = static_cast<long>(ns.count() % 1000000000);
        }
        ppoll(fds, 2, &left, nullptr);
        char drained[64];
        while (read(m_wake[0], drained, sizeof drained) > 0) {
        }
        if ((fds[0].revents & (POLLHUP | POLLERR)) != 0) {
            // A device that was pulled reports this at once, for ever.
            std::this_thread::sleep_for(std::chrono::milliseconds(LostPortPauseMs));
        }
        return (fds[0].revents & POLLIN) != 0;
    }

    void receive()
    {
        char bytes[1024];
        const ssize_t count = read(m_master, bytes, sizeof bytes);
        const TimePoint now = SteadyClock::now();
        if (count <= 0)
            return;
        m_bytes_in += static_cast<uint64_t>(count);
        m_receive_free = std::max(m_receive_free, now);
        for (ssize_t i = 0; i < count; ++i) {
            m_receive_free += byteTime(m_options.baud);
            if (m_splitter.feed(bytes[i]))
                takeFrame(m_splitter.frame());
        }
    }

    void takeFrame(const std::string &frame)
    {
        m_requests.push_back(frame);
        if (m_requests.size() > RequestsKept)
            m_requests.pop_front();
        traceRequest(frame);
        if (babbling())
            return;
        const TimePoint heard = m_receive_free;
        const LineAnswer answer = m_line.answer(frame, milliseconds(SteadyClock::now() - m_epoch));
        if (answer.babbleMs != 0)
            babble(heard, answer.babbleMs);
        else if (!answer.bytes.empty())
            transmit(heard + std::chrono::milliseconds(answer.lateMs), answer.bytes);
    }

    bool babbling() const
    {
        return !m_outgoing.empty() && m_outgoing.front().babble &&
               SteadyClock::now() < m_outgoing.front().end;
    }

    /// Replies leave in the order of their times; one that has begun is finished first.
    void transmit(TimePoint begin, const std::string &bytes)
    {
        const Transmission transmission = {bytes, begin, 0, false, TimePoint::max()};
        auto place = m_outgoing.end();
        while (place != m_outgoing.begin() && std::prev(place)->sent == 0 &&
               std::prev(place)->begin > begin)
            --place;
        m_outgoing.insert(place, transmission);
    }

    void babble(TimePoint begin, int ms)
    {
        const TimePoint end = ms < 0 ? TimePoint::max() : begin + std::chrono::milliseconds(ms);
        const Transmission transmission = {std::string(SliceBytes, Line::BabbleByte), begin, 0,
                                           true, end};
        m_outgoing.clear(); // what was on its way is lost in it
        m_outgoing.push_back(transmission);
    }

    /// Sends the slices whose last byte is due.
    /// \return when the next one is
    TimePoint sendWhatIsDue()
    {
        while (!m_outgoing.empty()) {
            Transmission &front = m_outgoing.front();
            const TimePoint now = SteadyClock::now();
            if (now >= front.end) {
                m_outgoing.pop_front();
                continue;
            }
            if (front.sent == 0)
                front.begin = std::max(front.begin, m_send_free);
            const size_t slice = nextSlice(front);
            const TimePoint due = sliceEnd(front, slice);
            if (now < due)
                return std::min(due, front.end);
            sendSlice(&front, slice);
            m_send_free = due;
            if (!front.babble && front.sent == front.bytes.size()) {
                traceReply(front.bytes);
                m_outgoing.pop_front();
            }
        }
        return TimePoint::max();
    }

    /// Where bytes take no time, a reply leaves as a whole.
    size_t nextSlice(const Transmission &transmission) const
    {
        if (transmission.babble)
            return SliceBytes;
        const size_t rest = transmission.bytes.size() - transmission.sent;
        return m_options.baud == 0 ? rest : std::min(rest, SliceBytes);
    }

    /// When the last byte of the next slice leaves.
    TimePoint sliceEnd(const Transmission &transmission, size_t slice) const
    {
        const int baud =
            transmission.babble && m_options.baud == 0 ? UnpacedBabbleBaud : m_options.baud;
        return transmission.begin +
               byteTime(baud) * static_cast<int64_t>(transmission.sent + slice);
    }

    void sendSlice(Transmission *transmission, size_t slice)
    {
        const size_t from = transmission->babble ? 0 : transmission->sent;
        // Nobody reads: the bytes are gone, as they are on a wire.
        const ssize_t written = write(m_master, transmission->bytes.data() + from, slice);
        if (written > 0)
            m_bytes_out += static_cast<uint64_t>(written);
        transmission->sent += slice;
    }

    static std::chrono::nanoseconds byteTime(int baud)
    {
        return std::chrono::nanoseconds(baud == 0 ? 0 : 1000000000LL * BitsPerByte / baud);
    }

    static int64_t milliseconds(SteadyClock::duration duration)
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
    }

    // ---- The trace -----------------------------------------------------------------------------

    void traceRequest(const std::string &frame)
    {
        if (!m_trace.is_open())
            return;
        CplRequest request;
        const CplVerdict verdict = decodeRequest(frame, &request);
        writeTrace("in ", frame,
                   verdict == CplVerdict::Good ? describe(request) : describe(verdict));
    }

    void traceReply(const std::string &frame)
    {
        if (!m_trace.is_open())
            return;
        CplReply reply;
        const CplVerdict verdict = decodeReply(frame, &reply);
        writeTrace("out", frame, verdict == CplVerdict::Good ? describe(reply) : describe(verdict));
    }

    void writeTrace(const char *direction, const std::string &frame, const std::string &meaning)
    {
        if (!m_trace.is_open())
            return;
        const double seconds =
            static_cast<double>(milliseconds(SteadyClock::now() - m_epoch)) / 1000.0;
        m_trace << std::fixed << std::setprecision(3) << std::setw(10) << seconds << ' '
                << direction << ' ' << hexDump(frame) << "  " << meaning << std::endl;
    }

    const SimulatorOptions m_options;
    const TimePoint m_epoch;    ///< goes on while the simulator is stopped, as the processes do
    mutable std::mutex m_mutex; ///< guards what the thread and the callers share
    Line m_line;                ///< m_mutex
    std::deque<Transmission> m_outgoing; ///< m_mutex; a babble is alone in it or in front
    std::deque<std::string> m_requests;  ///< m_mutex
    TimePoint m_receive_free;            ///< m_mutex; when the last byte heard has arrived
    TimePoint m_send_free;               ///< m_mutex; when the last byte sent has left
    int m_master;                        ///< this and the next two: fixed while the thread runs
    int m_slave;
    int m_wake[2];
    std::string m_pty_name; ///< m_mutex
    std::string m_link;     ///< m_mutex
    bool m_stop;            ///< m_mutex
    uint64_t m_bytes_in;    ///< m_mutex
    uint64_t m_bytes_out;   ///< m_mutex
    CplLineSplitter m_splitter;
    std::ofstream m_trace;
    std::thread m_thread;
};

const size_t Simulator::RequestsKept;

Simulator::Simulator(const SimulatorOptions &options) : m_engine(new Engine(options)) {}

Simulator::~Simulator()
{
    stop();
}

bool Simulator::start(std::string *error)
{
    return m_engine->start(error);
}

void Simulator::stop()
{
    m_engine->stop();
}

std::string Simulator::portName() const
{
    return m_engine->locked([&] { return m_engine->portName(); });
}

void Simulator::addFault(const Fault &fault)
{
    m_engine->locked([&] { m_engine->line().addFault(fault); });
}

void Simulator::clearFaults()
{
    m_engine->locked([&] { m_engine->clearFaults(); });
}

uint32_t Simulator::word(int station, uint32_t address) const
{
    return m_engine->locked([&] { return m_engine->line().word(station, address); });
}

void Simulator::setWord(int station, uint32_t address, uint32_t value)
{
    m_engine->locked([&] { m_engine->line().setWord(station, address, value); });
}

std::vector<std::string> Simulator::requests() const
{
    return m_engine->locked([&] { return m_engine->requests(); });
}

uint64_t Simulator::bytesIn() const
{
    return m_engine->locked([&] { return m_engine->bytesIn(); });
}

uint64_t Simulator::bytesOut() const
{
    return m_engine->locked([&] { return m_engine->bytesOut(); });
}
