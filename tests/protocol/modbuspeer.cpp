#include "modbuspeer.h"

#include <modbus.h>

#include <cerrno>
#include <vector>

ModbusServer::ModbusServer(int masterFd, int slaveId, int registerCount)
{
    m_context = modbus_new_rtu("/dev/null", 9600, 'N', 8, 1);
    m_mapping = modbus_mapping_new(0, 0, registerCount, 0);
    if (!ok())
        return;
    modbus_set_slave(m_context, slaveId);
    // Works on the descriptor it is given instead of opening a device.
    modbus_set_socket(m_context, masterFd);
    // Short gaps end a frame, so that junk is not merged into the next request; the
    // indication time-out lets the loop see the stop flag.
    modbus_set_byte_timeout(m_context, 0, 50'000);
    modbus_set_indication_timeout(m_context, 0, 100'000);
    m_thread = std::thread([this] { run(); });
}

ModbusServer::~ModbusServer()
{
    m_stop = true;
    if (m_thread.joinable())
        m_thread.join();
    if (m_mapping)
        modbus_mapping_free(m_mapping);
    if (m_context)
        modbus_free(m_context); // the descriptor belongs to the pty pair
}

std::uint16_t ModbusServer::reg(int index) const
{
    return m_mapping->tab_registers[index];
}

void ModbusServer::setReg(int index, std::uint16_t value)
{
    m_mapping->tab_registers[index] = value;
}

void ModbusServer::run()
{
    std::uint8_t query[MODBUS_RTU_MAX_ADU_LENGTH];
    while (!m_stop) {
        const int received = modbus_receive(m_context, query);
        if (received > 0) {
            modbus_reply(m_context, query, received, m_mapping);
        } else if (received < 0 && (errno == ECONNRESET || errno == EIO || errno == EBADF)) {
            return; // the line is gone; going round again would spin
        }
    }
}

ModbusMaster::ModbusMaster(const QString& path, int baud, int stopBits, int slave, int timeoutMs)
    : ctx(modbus_new_rtu(path.toLocal8Bit().constData(), baud, 'N', 8, stopBits))
{
    if (ctx && (modbus_set_slave(ctx, slave) != 0 ||
                modbus_set_response_timeout(ctx, 0, std::uint32_t(timeoutMs) * 1000) != 0 ||
                modbus_connect(ctx) != 0)) {
        modbus_free(ctx);
        ctx = nullptr;
    }
}

ModbusMaster::~ModbusMaster()
{
    if (ctx)
        modbus_close(ctx);
    modbus_free(ctx);
}

QList<int> ModbusMaster::read(int address, int count)
{
    std::vector<std::uint16_t> words(static_cast<std::size_t>(count));
    if (modbus_read_registers(ctx, address, count, words.data()) != count) {
        error = errno;
        return {};
    }
    return QList<int>(words.begin(), words.end());
}

bool ModbusMaster::write(int address, const QList<int>& values)
{
    std::vector<std::uint16_t> w(values.begin(), values.end());
    const int n = w.size() == 1 ? modbus_write_register(ctx, address, w[0])
                                : modbus_write_registers(ctx, address, int(w.size()), w.data());
    error = n == int(w.size()) ? 0 : errno;
    return error == 0;
}
