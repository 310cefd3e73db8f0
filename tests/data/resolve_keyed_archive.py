#!/usr/bin/env python3
"""Resolves a keyed archive with nothing but the standard plistlib and prints it as JSON: custom objects as
{"$class": name, key: value...}, dates as ISO-8601 (UTC, "Z"), data as base64. An independent reader to check
that our archives are the standard format."""
import base64
import datetime
import json
import plistlib
import sys

REFERENCE = datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)
ARRAYS = {"NSArray", "NSMutableArray", "NSSet", "NSMutableSet"}
DICTIONARIES = {"NSDictionary", "NSMutableDictionary"}


def iso(moment):
    text = moment.strftime("%Y-%m-%dT%H:%M:%S")
    if moment.microsecond:
        text += ".%03d" % (moment.microsecond // 1000)
    return text + "Z"


def resolve(objects, value):
    if isinstance(value, plistlib.UID):
        if value.data == 0:
            return None
        value = objects[value.data]
    if isinstance(value, bytes):
        return base64.b64encode(value).decode("ascii")
    if isinstance(value, list):
        return [resolve(objects, item) for item in value]
    if not isinstance(value, dict):
        return value
    name = objects[value["$class"].data]["$classname"]
    if name in ARRAYS:
        return [resolve(objects, item) for item in value["NS.objects"]]
    if name in DICTIONARIES:
        return {resolve(objects, k): resolve(objects, v) for k, v in zip(value["NS.keys"], value["NS.objects"])}
    if name == "NSDate":
        return iso(REFERENCE + datetime.timedelta(seconds=value["NS.time"]))
    if name == "NSNull":
        return None
    result = {key[1:] if key.startswith("$$") else key: resolve(objects, v)
              for key, v in value.items() if key != "$class"}
    result["$class"] = name
    return result


def main():
    with open(sys.argv[1], "rb") as handle:
        archive = plistlib.load(handle)
    assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
    assert archive["$objects"][0] == "$null"
    json.dump(resolve(archive["$objects"], archive["$top"]["root"]), sys.stdout, sort_keys=True)


main()
