#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Reference decoder of 48-byte profile reports: one line of text per record.

Every report is described here by tables: names of ids, and layouts, which are
tuples of items. A line is assembled as text of one character per byte
(Latin-1), so that field widths count bytes, whatever a text field holds.
"""

import argparse
import functools
import signal
import struct
import sys
import time

RECORD_BYTES = 48
PAYLOAD_OFFSET = 16
UINT64_MASK = 2**64 - 1


# --- Names -----------------------------------------------------------------


def names(*words, first=0):
    """Table of names whose ids follow each other from `first`."""
    return dict(enumerate(words, first))


# Key of the table that holds for every component without one of its own.
OTHER = None

CATEGORY_NAMES = names(
    "exec", "trace", "sensor", "sphere", "cumulus", "interrupt", "uart",
    "sshb", "control", "scm", "wake", "haptics", "cm")

TYPE_NAMES = names(
    "stop", "long-data", "short-data", "event", "trigger", "function",
    "sshb-context1", "sshb-context2", "sensorinfo", "extfunction",
    "sshb-context", "annotation", "decimationinfo")

EXEC, TRACE, SENSOR, SPHERE, CUMULUS, INTERRUPT, UART, SSHB = range(8)
SCM, WAKE, HAPTICS = 9, 10, 11

COMPONENT_NAMES = {
    EXEC: names("scheduler", "function", "workloop", "command", "extfunction",
                "timing"),
    TRACE: names("remoteq", "endpoint", "systick", "interrupt"),
    SENSOR: names("accel", "gyro", "compass", "pressure", "helium", "als",
                  "temperature"),
    SPHERE: names("sphere"),
    CUMULUS: names("cumulus"),
    INTERRUPT: names("gpio"),
    UART: names("uart0", "uart1", "uart2"),
    SSHB: names("sshb", "vossa", "amp", "latency", "quarl", "nebaudio",
                "nebvoicetrigger"),
    SCM: names("spi0", "smb0", "smb1", "i2cm0", "i2c_ctrl0", "i2c_ctrl1"),
    WAKE: names("wake"),
    HAPTICS: {5: "nebaudio", 7: "haptics-manager", 8: "hm-kext",
              9: "rtp-detent"},
}

SSHB_LATENCY_POINTS = names(
    "ckp_SSHBFingerON", "ckp_SSHBFingerOFF", "ckp_SSHBButtonDown",
    "ckp_SSHBButtonUp", "ckp_ARCTurnOn", "ckp_VossaStartHaptics",
    "ckp_ARCReady", "ckp_VossaPlayAsset")

# By category, then by component.
EVENT_NAMES = {
    EXEC: {
        0: names("context-switch", "prevent-nap", "thread-state"),
        1: names("function"),
        2: names("action", "signal"),
        3: names("start", "finalize", "new-packet", "receive", "timeout",
                 "live-report", "hist-report", "user-report"),
        4: names("extfunction"),
    },
    SENSOR: {OTHER: {
        **names("latency", "rawdata", "data", "filtdata", "apdata", "regwrite",
                "regread", "update", "filter-state", "sensor-info",
                "annotation"),
        **names("trigger-magnitude", "trigger-latency", first=16),
    }},
    SPHERE: {OTHER: {0: "latency", 1: "monitor", 17: "trigger-latency"}},
    CUMULUS: {OTHER: names("data-in", "data-out")},
    INTERRUPT: {OTHER: names("latency")},
    UART: {OTHER: names("preamble", "sw-handshake", "hw-handshake", "trace",
                        "packet", "baseband", "transport", "neb-test")},
    SSHB: {
        3: SSHB_LATENCY_POINTS,
        OTHER: {
            **names("trace", "context", "input-packet", "status-event"),
            **names("trigger-fingeron", "trigger-fingeroff", "trigger-clickon",
                    "trigger-clickoff", first=16),
        },
    },
    WAKE: {OTHER: names("wake-req-stats", "wake-req-info", "wake-event-info")},
    HAPTICS: {OTHER: names("trace", "amp-states-data", "play-request-data")},
}

SSHB_SUBTYPES = {
    **names(
        "Notification", "Command", "SetProperty", "GetProperty",
        "SendAmpRequest", "AmpWorkerRequestComplete", "AmpRequestComplete",
        "EnableSshb", "OnCumulusData", "SimulateEvent", "AmpTurnOn",
        "NotifyVossa", "AmpTurnOff", "EnableMclk", "EnableVossa", "QuarlData",
        "DispatchReport", "HandleFingerDownChanged",
        "HandleButtonStateChanged", "HandleClickStatus", "ChangeOpMode",
        "ScanESAction", "TurtleTESAction", "NotifyVossaRunState",
        "SimulateButtonPress", "AmpRequestCompleteStep2",
        "AmpRequestCompleteStep3", "AmpRequestCompleteStep4",
        "AmpRequestCompleteStep5", "AmpRequestCompleteStep6",
        "AmpPrewarmComplete", "AmpEnableComplete", "AmpDisableComplete",
        "StartVossa", "StopVossa", "AssetTimerComplete", "VossaCLTimeOut",
        "VossaCLFault", "SetTestMode", "SimulateFingerdetect",
        "SimulateClick", "StartVossaSSHBComplete", "StartVossaAPComplete",
        "StopVossaSSHBComplete", "StopVossaAPComplete", "ApSpkAmpRequest",
        "ApSpkAmpRequestProcess", "ApSpkAmpRequestComplete",
        "ApARCRequestComplete", "EnableBrenn", "PlayAssetBegin",
        "PlayAssetComplete"),
    **names(
        "ResetBegin", "ResetEnd", "ResetComplete", "ResetRequest",
        "Fingerdetect", "EnableStuckFDTimer", "SystemStatus", "APForceWake",
        "IBFDTimeout", first=100),
    **names(
        "SetState", "ConfigureSpeaker", "DisabledToPreWarm",
        "DisabledToEnabled", "PreWarmToEnabled", "PreWarmToDisabled",
        "EnabledToPreWarm", "EnabledToDisabled", "DisabledToIVEnabled",
        "PreWarmToIVEnabled", "EnabledToIVEnabled", "IVEnabledToEnabled",
        "AmpPowerDown", "AmpClearInterrupts", "SoftReset",
        "AmpPowerUpPhase1", "AmpPowerUpPhase2", "AmpPowerUpPhase3",
        "SetVolume", "ConfigureTDMControls", "SetChannelEnable",
        "WaitForAmpPowerdown", "EnableAmpReset", "EnableGNDSwitches",
        "AmpPowerUpPhase1", "AmpPowerUpPhase2", "AmpPowerUpPhase3",
        "DisabledToPreWarm", "DisabledToEnabled", "PreWarmToEnabled",
        "EnabledToPreWarm", "DisabledToIVEnabled", "PreWarmToIVEnabled",
        first=200),
    **names(
        "kPlayAssetRequestBegin", "kPlayAssetRequestReturn",
        "kClickStateConfig", "kClickStateConfigReturn",
        "kSetHapticAudioAssertion", "kSetHapticAudioAssertionReturn",
        "ProcessCommandPlayAsset", first=300),
    **names("HapticsAmpTurnOn", "AudioAmpTurnOn", first=308),
    **names("LTWGatedRequest", "AttachHES", "CoverHES", first=400),
    **names(
        "DopplerTimeout", "CoverStateUpdate", "CoverReport", "AttachReport",
        "SubscribeDoppler", "DopplerUpdate", "SimulatedEvent", first=404),
}

HAPTICS_SUBTYPES = {
    **names(
        "SetMapping", "PlayActionCommand", "PlayAssetCommand",
        "ProcessCommandError", "EnqueueRequest", "HandleAmpStateAction",
        "AmpTimerStarted", "AmpTimerStopped", "AmpTimerFired",
        "SetPowerState", "SetPowerStateError", "SetPowerStateComplete",
        "PlayHapticsAction", "RequestDropped", "PlayAssetBegin",
        "PlayAssetError", "PlayAssetComplete", "UserClientPlayAsset",
        "UserClientPlayAssetError", "KextPlayAssetGated",
        "KextPlayAssetGatedError", "RTPRawData"),
    **names("RTPHapticsManagerRequestCmp", "RTPRawEvent", first=23),
}

# By category, then by component; components not listed have no names.
SUBTYPE_NAMES = {
    SSHB: {0: SSHB_SUBTYPES, 1: SSHB_SUBTYPES, 2: SSHB_SUBTYPES,
           3: SSHB_LATENCY_POINTS, 4: SSHB_SUBTYPES},
    HAPTICS: {7: HAPTICS_SUBTYPES, 8: HAPTICS_SUBTYPES, 9: HAPTICS_SUBTYPES},
}


def name_in(table, number):
    return table.get(number) or str(number)


def name_by_component(tables, category, component, number):
    by_component = tables.get(category, {})
    return name_in(by_component.get(component, by_component.get(OTHER, {})),
                   number)


# --- Readers: functions from a record to the value of one item ---------------


def number(code, offset):
    """Little-endian number of a `struct` code at a payload offset."""
    unpack_from = struct.Struct("<" + code).unpack_from
    position = PAYLOAD_OFFSET + offset
    return lambda record: unpack_from(record, position)[0]


def fixed_point(fraction_bits, offset):
    raw = number("i", offset)
    scale = 1.0 / (1 << fraction_bits)
    return lambda record: raw(record) * scale


def constant(value):
    return lambda record: value


def text(offset, size):
    """Quoted text field: up to its first zero byte, never beyond its size.

    Raises UnicodeDecodeError when the bytes are not UTF-8.
    """
    start = PAYLOAD_OFFSET + offset

    def read(record):
        field = record[start:start + size].partition(b"\0")[0]
        if not field.isascii():
            field.decode("utf-8")
        return "'" + field.decode("latin-1") + "'"

    return read


def byte_list(offset, size):
    start = PAYLOAD_OFFSET + offset
    return lambda record: dump(record[start:start + size])


def long_data_bytes(record):
    length = min(LONG_DATA_LENGTH(record), 24)
    return dump(record[24:24 + length])


def subtype(record):
    name = name_by_component(SUBTYPE_NAMES, record[3], record[2],
                             TRACE_SUBTYPE(record))
    return "'" + name + "'"


LONG_DATA_LENGTH = number("H", 4)
TRACE_SUBTYPE = number("I", 0)
CONTEXT_VERSION = number("H", 0)
HEADER = struct.Struct("<IIQ")

DECIMAL = tuple(str(value) for value in range(256))


def dump(data):
    return "[" + ",".join([DECIMAL[byte] for byte in data]) + "]"


# --- Layouts: tuples of items (writer of the value, reader of the value) -----


def item(key, read, form="{:>10}"):
    return f" '{key}':{form},".format, read


def numbers(code, *rows, form="{:>10}"):
    """Items of one number format, each row a key and a payload offset."""
    return tuple(item(key, number(code, offset), form) for key, offset in rows)


ARGUMENTS = (("arg1", 0), ("arg2", 4), ("arg3", 8), ("arg4", 12),
             ("arg5", 16), ("arg6", 20))

SHORT_DATA = (
    item("subtype", number("H", 0)),
    item("packet-size", constant(30)),
    item("data-length", constant(30)),
    item("data-offset", constant(0)),
    item("raw-data", byte_list(2, 30)),
)

# The width of a hexadecimal argument pads its opening quote, not its digits.
EVENT = numbers("I", *ARGUMENTS) + numbers(
    "I", *(("x" + key, offset) for key, offset in ARGUMENTS),
    form="         '{:x}'")

# By type; a type without a row has no items.
BASE_LAYOUTS = {
    1: numbers("H", ("subtype", 0), ("packet-size", 2), ("data-length", 4),
               ("data-offset", 6)) + (item("raw-data", long_data_bytes),),
    2: SHORT_DATA,
    3: EVENT,
    # The firmware's trigger has one number, printed under both keys.
    4: (item("trigger", constant(1), "{}"),)
       + numbers("I", ("thread-id", 4), ("arg", 4)),
    5: numbers("I", ("function-id", 0), ("extra-id", 4), ("thread-id", 8),
               ("duration", 12), ("depth", 16), ("thread_duration", 20)),
    8: (item("name", text(19, 12), "{:>16}"),)
       + numbers("I", ("report-interval", 0), ("batch-interval", 4),
                 ("threshold", 8), ("time-limit", 12))
       + numbers("B", ("connected", 16), ("decimation", 17),
                 ("gyroPowerMode", 18)),
    9: (item("function", text(16, 16)),)
       + numbers("I", ("arg", 12), ("task", 0), ("thread", 4),
                 ("duration", 8)),
    11: numbers("Q", ("global-id", 0), ("entry-id", 8))
        + (item("entry", text(8, 8)),)
        + numbers("I", ("arg1", 16), ("arg2", 20)),
    12: (item("name", text(20, 12), "{:>16}"),)
        + numbers("I", ("sample-interval", 8), ("report-interval", 12),
                  ("batch-interval", 16))
        + numbers("Q", ("next-dispatch", 0)),
}

# Trace points of the sshb and haptics categories.
TRACE_POINT = (item("trace", subtype, "{:>25}"),) + numbers(
    "I", ("thread", 4), ("arg1", 8), ("arg2", 12), ("arg3", 16), ("arg4", 20))

STATUS_EVENT = (
    numbers("I", ("status-timestamp", 2))
    + numbers("B", ("fingerState", 10), ("buttonState", 11))
    + numbers("I", ("buttonProgress", 12))
    + numbers("B", ("clickCount", 17), ("clickCountIsTerminal", 18),
              ("clickIsLong", 19), ("clickSpeed", 20)))


def context(*groups):
    """Context snapshot: a version, then groups of a number format and rows."""
    layout = numbers("H", ("context-version", 0), form="{}")
    for code, *rows in groups:
        layout += numbers(code, *rows, form="{}")
    return layout


SCAN_STATE = ("fingerDetect", "buttonState", "pressCount", "longPress",
              "terminalEvent", "speed", "stage")
SCAN_FLAGS = ("B", ("currentContext0", 2), ("currentContext1", 3),
              ("ampsEnabled", 4), ("enabled", 5))

# Key, offset in version 4, offset in version 7.
AMPLIFIER_STATE = (
    ("mclk_neb_enabled", 2, 2),
    ("mclk_ap_enabled", 3, 3),
    ("vossa_neb_enabled", 4, 4),
    ("vossa_ap_enabled", 5, 5),
    ("vossaBusy", 6, 6),
    ("enableARC", 7, 7),
    ("enableSpkr", 8, 8),
    ("mclk_on", 9, 9),
    ("vossa_on", 10, 10),
    ("vossaPending", 11, 11),
    ("ampsEnabling", 12, None),
    ("quarl_ready", 13, 12),
    ("ampsState", None, 13),
    ("ampsPrewarming", 14, None),
    ("ampsDisabling", 15, None),
    ("ampsPending", 16, None),
    ("clickState", 17, 14),
    ("clickSpeed", 18, 15),
    ("test_mode", 19, 16),
    ("cl_enable", 20, 17),
    ("cl_neb_enable", 21, 18),
    ("cl_ap_enable", 22, 19),
    ("vossa_ready", 23, 20),
    ("apState0", 24, 21),
    ("apState1", 25, 22),
    ("nebState0", 26, 23),
    ("nebState1", 27, 24),
    ("state0", 28, 25),
    ("state1", 29, 26),
)

# By context version; the base layouts add nothing to this type.
CONTEXTS = {
    3: context(
        SCAN_FLAGS,
        ("I", ("mode", 6), ("scan_time", 10), ("active_scan_interval", 14),
         ("background_scan_interval", 18)),
        ("B", *((key, 22 + row) for row, key in enumerate(SCAN_STATE)))),
    4: context(("B", *((key, offset) for key, offset, _ in AMPLIFIER_STATE
                       if offset is not None))),
    5: context(
        SCAN_FLAGS,
        ("I", ("scan_period", 6), ("scan_time", 10)),
        ("B", *((key, 14 + row) for row, key in enumerate(SCAN_STATE)))),
    7: context(("B", *((key, offset) for key, _, offset in AMPLIFIER_STATE
                       if offset is not None))),
}


def cumulus(fraction_bits):
    return numbers("I", *ARGUMENTS) + tuple(
        item(key, fixed_point(fraction_bits, offset), "{:>10g}")
        for key, offset in (("x", 0), ("y", 4), ("z", 8)))


# Layouts of the categories that tell their reports by the whole header word.
LAYOUTS_BY_HEADER = {
    0x04000003: cumulus(16) + EVENT,
    0x04000103: cumulus(12),
    0x0A00010D: numbers("I", ("wake_reason", 0))
                + numbers("Q", ("endpoint_ref", 4)),
    0x0A000203: numbers("I", ("wake_reason", 0), ("service_id", 4)),
}

# By event; the firmware's other short sshb reports are rendered twice.
SSHB_SHORT_DATA = {2: SHORT_DATA, 3: STATUS_EVENT + SHORT_DATA}
SSHB_TRACE_POINT = TRACE_POINT + EVENT

HAPTICS_SHORT_DATA = {
    1: numbers("I", ("ampType", 10), ("state", 2), ("refCount", 6)),
    2: numbers("I", ("ampType", 2), ("index", 10), ("presilence", 18),
               ("gain", 26)),
}


def sshb_layout(record):
    type_id, event = record[0], record[1]
    if type_id == 3:
        return SSHB_TRACE_POINT
    if type_id == 2:
        return SSHB_SHORT_DATA.get(event, SHORT_DATA + SHORT_DATA)
    if type_id == 10:
        return CONTEXTS.get(CONTEXT_VERSION(record), ())
    return BASE_LAYOUTS.get(type_id, ())


def haptics_layout(record):
    type_id, event, component = record[:3]
    if component not in (5, 6):
        if type_id == 3:
            return TRACE_POINT
        if type_id == 2:
            return HAPTICS_SHORT_DATA.get(event, SHORT_DATA)
    return BASE_LAYOUTS.get(type_id, ())


def layout_of(record, header_word):
    category = record[3]
    if category == SSHB:
        return sshb_layout(record)
    if category == HAPTICS:
        return haptics_layout(record)
    return (LAYOUTS_BY_HEADER.get(header_word)
            or BASE_LAYOUTS.get(record[0], ()))


# --- Lines -------------------------------------------------------------------


@functools.lru_cache(maxsize=1 << 17)
def frame(header_word):
    """Items before the timestamp and items after the payload."""
    category, component, event, type_id = header_word.to_bytes(4, "big")
    words = (
        name_in(CATEGORY_NAMES, category),
        name_in(COMPONENT_NAMES.get(category, {}), component),
        name_by_component(EVENT_NAMES, category, component, event),
        name_in(TYPE_NAMES, type_id),
    )
    category_text, component_text, event_text, type_text = (
        f"'{word}'" for word in words)
    return (f"{{  'category':{category_text:>8}, 'component':{component_text:>8},"
            f" 'event':{event_text:>12}, 'type':{type_text:>12},",
            f" 'type-id':{type_id}, 'category-id':{category},"
            f" 'component-id':{component}, 'event-id':{event}, 'binary-data':")


MONTHS = ("Jan", "Feb", "Mar", "Apr", "May", "Jun",
          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec")


@functools.lru_cache(maxsize=1 << 16)
def local_time_text(second):
    """Local time of a second since the epoch, in the zone in force."""
    local = time.localtime(second)
    return (f"{MONTHS[local.tm_mon - 1]} {local.tm_mday:02d} {local.tm_hour:02d}"
            f":{local.tm_min:02d}:{local.tm_sec:02d}")


def calendar_text(timestamp_us, clock_pair):
    """Wall time of a co-processor timestamp, in wrapping 64-bit arithmetic."""
    hub_ns, calendar_ns = clock_pair
    time_us = ((timestamp_us * 1000 + calendar_ns - hub_ns) & UINT64_MASK) // 1000
    second, remainder_us = divmod(time_us, 1000000)
    return f"{local_time_text(second)}.{remainder_us:06d}"


def decode(record, clock_pair=None, boot_time_us=None):
    """Text of a record without a line end, None when it is not UTF-8.

    `clock_pair` is the co-processor's clock and calendar time, read together,
    in nanoseconds; without it, as without `boot_time_us`, its item is left out.
    """
    header_word, sequence, timestamp_us = HEADER.unpack_from(record)
    heading, ids = frame(header_word)
    try:
        payload = "".join([write(read(record))
                           for write, read in layout_of(record, header_word)])
    except UnicodeDecodeError:
        return None
    line = (f"{heading} 'timestamp':{timestamp_us:>10},"
            f" 'sequence_num':{sequence:>10},{payload}{ids}{dump(record)}")
    if clock_pair is not None:
        line += f", 'calendar-time':'{calendar_text(timestamp_us, clock_pair)}'"
    if boot_time_us is not None:
        line += f", 'boot-timestamp':{boot_time_us}"
    return (line + "}").encode("latin-1")


# --- Command -----------------------------------------------------------------


def clock_pair_option(value):
    hub, _, calendar = value.partition(",")
    pair = int(hub), int(calendar)
    if not all(-(2**63) <= clock_ns < 2**63 for clock_ns in pair):
        raise ValueError
    return pair


def boot_time_option(value):
    if value == "none":
        return None
    boot_time_us = int(value)
    if not 0 <= boot_time_us <= UINT64_MASK:
        raise ValueError
    return boot_time_us


def add_clock_options(parser):
    parser.add_argument(
        "--timesync", metavar="HUB,CALENDAR", type=clock_pair_option,
        help="clock pair in signed nanoseconds; without it no calendar-time")
    parser.add_argument(
        "--boot-time", metavar="US|none", type=boot_time_option,
        help="boot time in microseconds; none, the default: left out")


def decode_stream(source, output, clock_pair, boot_time_us):
    """Returns the number of records without a line and of bytes left over."""
    skipped = 0
    while chunk := source.read(RECORD_BYTES * 4096):
        whole_bytes = len(chunk) - len(chunk) % RECORD_BYTES
        lines = [decode(chunk[start:start + RECORD_BYTES], clock_pair, boot_time_us)
                 for start in range(0, whole_bytes, RECORD_BYTES)]
        skipped += lines.count(None)
        output.writelines([line + b"\n" for line in lines if line is not None])
        if whole_bytes < len(chunk):
            return skipped, len(chunk) - whole_bytes
    return skipped, 0


def main():
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    parser = argparse.ArgumentParser(description="Decode raw profile reports.")
    add_clock_options(parser)
    parser.add_argument("file", metavar="FILE", nargs="?",
                        help="raw 48-byte records; default: standard input")
    options = parser.parse_args()
    with open(options.file or sys.stdin.fileno(), "rb") as source:
        skipped, left_over_bytes = decode_stream(
            source, sys.stdout.buffer, options.timesync, options.boot_time)
    sys.stdout.flush()
    if skipped:
        print(f"{skipped} records skipped: not valid UTF-8", file=sys.stderr)
    if left_over_bytes:
        print(f"input ends inside a record: {left_over_bytes} bytes left over",
              file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
