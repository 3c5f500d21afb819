"""A host that is made of other people's code: scans, drives, listens, asks, leaves.

bleak_host.py ADAPTER NAME STATE: what the robot calls itself, and the first byte of its advertisement, in hex"""
import asyncio
import sys

from bleak import BleakClient, BleakScanner

SERVICE = "af237777-879d-6186-1f49-deca0e85d9c1"
SHELL, ANSWERS, COMMANDS, SENSORS = (f"af23000{n}-879d-6186-1f49-deca0e85d9c1" for n in (0, 1, 2, 3))


async def find(adapter, name, state):
    def is_it(_, seen):  # BlueZ takes the first two bytes for a company; states that have passed may still be listed
        states = [company & 0xFF for company in seen.manufacturer_data]
        return seen.local_name == name and SERVICE in seen.service_uuids and state in states

    for _ in range(20):  # the emulator reports an advertisement once a scan
        found = await BleakScanner.find_device_by_filter(is_it, timeout=5, adapter=adapter)
        if found:
            return found
    sys.exit(f"bleak: {name} is not on the air")


async def main(adapter, name, state):
    robot = await find(adapter, name, int(state, 16))
    reports, answer, answered = [], bytearray(), asyncio.Event()

    def on_answer(_, data):
        answer.extend(data[1:])
        if 0x03 in data:
            answered.set()

    async with BleakClient(robot, adapter=adapter, timeout=60) as client:
        await client.start_notify(SENSORS, lambda _, data: reports.append(bytes(data)))
        await client.start_notify(ANSWERS, on_answer)
        await client.write_gatt_char(COMMANDS, bytes.fromhex("01012CFED4"), response=False)
        await client.write_gatt_char(SHELL, b"\xc8A NAME\n", response=True)
        await asyncio.wait_for(answered.wait(), 60)
        while len(reports) < 10:
            await asyncio.sleep(0.1)
    print(f"bleak: {len(set(reports))} different reports, the shell says {bytes(answer)}")
    assert name.encode() in answer and all(len(report) == 20 for report in reports)


asyncio.run(asyncio.wait_for(main(*sys.argv[1:4]), 240))
