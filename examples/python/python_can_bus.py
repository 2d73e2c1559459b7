# SPDX-License-Identifier: MIT
"""Identifies an ECU through any adapter that python-can knows: python_can_bus.py INTERFACE CHANNEL [BITRATE]

An interface that sets the bit rate of its adapter, such as slcan, needs it.
"""
import sys

import can

import quillmark

interface, channel, *bit_rate = sys.argv[1:]
settings = {"bitrate": int(bit_rate[0])} if bit_rate else {}
with quillmark.can_bus(can.Bus(channel, interface=interface, **settings)) as bus:
    print(quillmark.Programmer(bus).identify().text)
