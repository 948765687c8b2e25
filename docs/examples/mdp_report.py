#!/usr/bin/env python3
"""Shows a machine through the sylvarin service: its name, its modules and their objects.

    mdp_report.py [--socket PATH] [--language LCID] [--values]

It needs the package mdp: python3-mdp, or PYTHONPATH=client/python/src in this tree.
"""

import argparse
import sys

import mdp

DEVICE_NAME = 0x1008


def show_values(client: mdp.Client, index: int) -> None:
    for sub_index in range(client.describe_object(index).item_count):
        entry = client.describe_entry(index, sub_index)
        if not entry.readable:
            continue
        try:
            value = repr(mdp.decode_value(entry.data_type, client.read(index, sub_index)))
        except mdp.ObjectError as error:
            value = f"({error.name})"
        print(f"        {sub_index:3}  {entry.name}: {value}")


def main() -> int:
    parser = argparse.ArgumentParser(description="Shows a machine through the sylvarin service.")
    parser.add_argument("--socket", default="/tmp/MDP0")
    parser.add_argument("--language", type=int, default=mdp.Language.ENGLISH, help="1033 English, 1031 German")
    parser.add_argument("--values", action="store_true", help="also the entries with their values")
    arguments = parser.parse_args()
    client = mdp.Client(arguments.socket, language=arguments.language)
    try:
        print(client.describe_entry(DEVICE_NAME).name, client.read_value(DEVICE_NAME), sep=": ")
        indexes = client.list_objects()
        for module in client.list_modules():
            print(f"{module.index:04X}  {module.name}")
            own = [*range(module.data(1), module.data(16)), *range(module.service(0), module.service(15) + 1)]
            for index in sorted(set(own).intersection(indexes)):
                print(f"    {index:04X}  {client.describe_object(index).name}")
                if arguments.values:
                    show_values(client, index)
        return 0
    except mdp.MdpError as error:
        print(f"mdp_report.py: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
