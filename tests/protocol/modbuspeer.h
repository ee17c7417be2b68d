#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

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
