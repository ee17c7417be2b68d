#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include <QList>
#include <QString>

struct _modbus;
struct _modbus_mapping_t;

// A libmodbus RTU server answering on the master side of a pty, from a thread of its own.
// An implementation of the protocol that owes nothing to ours: the reference peer for
// interoperability tests and the benchmark.
class ModbusServer
{
public:
    ModbusServer(int masterFd, int slaveId, int registerCount = 256);
    ~ModbusServer();

    bool ok() const { return m_context && m_mapping; }
    // Holding registers. Read them only between transactions.
    std::uint16_t reg(int index) const;
    void setReg(int index, std::uint16_t value);

private:
    void run();

    _modbus* m_context = nullptr;
    _modbus_mapping_t* m_mapping = nullptr;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// A libmodbus RTU master on a serial device or pty.
class ModbusMaster
{
public:
    explicit ModbusMaster(const QString& path, int baud = 9600, int stopBits = 1, int slave = 1,
                          int timeoutMs = 300);
    ~ModbusMaster();
    ModbusMaster(const ModbusMaster&) = delete;
    ModbusMaster& operator=(const ModbusMaster&) = delete;

    // The words read, or an empty list with error set to errno (a Modbus exception or
    // ETIMEDOUT).
    QList<int> read(int address, int count);
    // One word goes out with function 6, several with function 16.
    bool write(int address, const QList<int>& values);

    _modbus* ctx = nullptr; // null when it could not be set up
    int error = 0;
};
