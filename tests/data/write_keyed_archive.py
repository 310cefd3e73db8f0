#!/usr/bin/env python3
"""Writes a keyed archive by hand with the standard plistlib (plistlib.UID references), the way the platform's
archiver lays one out, and prints the tree it stands for as JSON (the form `vantry dump --json` gives)."""
import json
import plistlib
import sys

UID = plistlib.UID


def cls(*chain):
    return {"$classname": chain[0], "$classes": list(chain)}


objects = [
    "$null",
    {"NS.objects": [UID(2), UID(12)], "$class": UID(17)},                              # 1 root array
    {"NS.keys": [UID(3), UID(4), UID(5)], "NS.objects": [UID(6), UID(7), UID(9)],
     "$class": UID(16)},                                                              # 2 event
    "path", "date", "files", "/home/u/Documents",                                     # 3-6
    {"NS.time": 727007400.25, "$class": UID(8)},                                      # 7
    cls("NSDate", "NSObject"),                                                        # 8
    {"NS.objects": [UID(10)], "$class": UID(15)},                                     # 9 files
    {"alias": b"\x00\x01alias", "path": UID(11), "overrideDate": 727002000.0,
     "$class": UID(14)},                                                              # 10 item
    "/home/u/Documents/Grüße 🎉.txt",                                                 # 11
    {"NS.keys": [UID(13), UID(3)], "NS.objects": [UID(18), UID(19)], "$class": UID(16)},  # 12
    "big",                                                                            # 13
    cls("VNItem", "NSObject"),                                                        # 14
    cls("NSArray", "NSObject"),                                                       # 15
    cls("NSMutableDictionary", "NSDictionary", "NSObject"),                           # 16
    cls("NSMutableArray", "NSArray", "NSObject"),                                     # 17
    18446744073709551615,                                                             # 18
    {"$class": UID(20)},                                                              # 19 null
    cls("NSNull", "NSObject"),                                                        # 20
]
archive = {"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"root": UID(1)}, "$objects": objects}
with open(sys.argv[1], "wb") as handle:
    plistlib.dump(archive, handle, fmt=plistlib.FMT_BINARY)

expected = [
    {"path": "/home/u/Documents", "date": "2024-01-15T10:30:00.250Z",
     "files": [{"$class": "VNItem", "alias": "AAFhbGlhcw==", "path": "/home/u/Documents/Grüße 🎉.txt",
                "overrideDate": 727002000.0}]},
    {"big": 18446744073709551615, "path": None},
]
json.dump(expected, sys.stdout, ensure_ascii=False)
