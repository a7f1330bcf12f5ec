"""A meter of the UMG family as pymodbus serves it: pymodbus_server.py PORT. Blocks that the meter lacks are answered with exception 2."""
import struct
import sys

from pymodbus.datastore import ModbusSequentialDataBlock, ModbusServerContext, ModbusSlaveContext, ModbusSparseDataBlock
from pymodbus.server import StartTcpServer


def value_at(address):
    """What register pair `address` reads: a number that tells the address, so that nothing can be mistaken for another."""
    if address == 19050:
        return 50.0
    if address == 19052:
        return -1.0
    if address == 19120:
        return float("nan")
    return address / 8.0


def registers():
    values = {}
    for start, count in ((19000, 122), (800, 100), (900, 42), (11631, 12)):
        for offset in range(0, count, 2):
            high, low = struct.unpack(">HH", struct.pack(">f", value_at(start + offset)))
            values[start + offset], values[start + offset + 1] = high, low
    return values


if __name__ == "__main__":
    block = ModbusSparseDataBlock(registers())
    # Addresses are those on the wire.
    slave = ModbusSlaveContext(hr=block, ir=ModbusSequentialDataBlock(0, [0] * 10), zero_mode=True)
    StartTcpServer(context=ModbusServerContext(slaves={1: slave}, single=False), address=("127.0.0.1", int(sys.argv[1])))
