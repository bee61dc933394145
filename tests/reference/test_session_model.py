#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tests of the model of a run against outcomes worked out by hand."""

import copy
import itertools
import json
import pathlib
import tempfile
import unittest

import session_model
from session_model import Device, Ledger, run

CONSUMER_CONTROL, TELEPHONY = [0x0C, 1], [0x0B, 1]
SENSOR, DEBUG = [0x20, 0x31], [0xFF00, 0x29]
ASSERTION = (": AssertMacros: {},  file: VantuHUBHIDPlugins/VantuHUBHIDStatistics/"
             "VantuHUBHIDStatistics, line: {} value:0")
DRIVER_QUERY = ASSERTION.format("((HRESULT)(Status) >= 0)", 278)
DRIVER_MISSING = ASSERTION.format("context->_driver._interface", 279)
DEVICE_QUERY = ASSERTION.format("((HRESULT)(Status) >= 0)", 295)
DEVICE_MISSING = ASSERTION.format("context->_device._interface", 296)
FAULT = "com.vantu.vantuhubhidstatistics.fault"
SERVICE_LINE = "registerService: name=accel"
RECORD_KEY = "com.vantu.neb.button.click.count"
RECORD_LINE = f"publishSLData op=0x3 '{RECORD_KEY}' (0)"
ADD_ONE = {"op": 3, "key": 0, "value": 1}
ABSENT = object()


def service(name="accel", ledger=ABSENT, usages=(), transport="HUB", reports=ABSENT,
            driver=ABSENT, **parts):
    """A HID node with a driver."""
    properties = {"Transport": transport, "NEBSupportsStatLedger": ledger}
    hid = {"properties": {key: value for key, value in properties.items()
                          if value is not ABSENT},
           "usages": [*usages]}
    if reports is not ABSENT:
        hid["registryID"] = reports
    if driver is not None:
        parts["driver"] = {} if driver is ABSENT else driver
    return {"name": name, "hid": hid, **parts}


def chain(*services, device=ABSENT, **parts):
    """A device node, with services below a node between them."""
    node = {"name": "device", "children": [{"name": "between", "children": [*services]}],
            **parts}
    if device is not None:
        node["device"] = {} if device is ABSENT else device
    return node


def play(*roots, batches=(), notifications=(), ledger=None, folder=None, captures=(),
         **options):
    device = Device({"registry": copy.deepcopy(roots), "batches": [*batches],
                     "notifications": [*notifications]}, folder)
    return run(device, ledger, captures=captures, **options)


def batch(*records, to="accel"):
    return {"service": to, "records": [*records]}


def messages(outcome):
    return [line["message"] for line in outcome.log]


def fates(outcome):
    return [fate for _, fate in outcome.services]


def in_groups(handlers):
    """Handlers in a row of one kind, with the kind."""
    return [(kind, list(group))
            for kind, group in itertools.groupby(handlers, lambda handler: handler.kind)]


def kinds(outcome):
    return [kind for kind, _ in in_groups(outcome.handlers)]


def published(*records, **options):
    """Outcome of one batch to a service that takes it, without the service's own line."""
    outcome = play(chain(service(ledger=True)), batches=[batch(*records)], **options)
    assert outcome.log.pop(0)["message"] == SERVICE_LINE
    return outcome


class WhatIsTaken(unittest.TestCase):
    def left_alone(self, fate, **parts):
        outcome = play(chain(service(**parts)), batches=[batch(ADD_ONE)])
        self.assertEqual(fates(outcome), [fate])
        self.assertEqual((outcome.log, outcome.handlers), ([], []))
        self.assertEqual(outcome.dropped, ["accel"])

    def test_service_without_transport_is_left_alone(self):
        self.left_alone("other transport", transport=ABSENT, ledger=True, usages=[SENSOR])

    def test_service_with_a_transport_that_is_no_string_is_left_alone(self):
        for transport in (1, True, ["HUB"], {"HUB": "HUB"}):
            self.left_alone("other transport", transport=transport, ledger=True)

    def test_service_of_another_transport_is_left_alone(self):
        for transport in ("SPU", "hub", "HUB ", ""):
            self.left_alone("other transport", transport=transport, ledger=True)

    def test_service_of_no_known_usage_and_no_statistics_is_left_alone(self):
        self.left_alone("of no interest", usages=[[0x0C, 2], [0x31, 0x20], [0xFF00, 4]])

    def test_only_a_true_boolean_declares_statistics(self):
        for value in (False, 1, 1.0, "true", [True], {"value": True}):
            self.left_alone("of no interest", ledger=value)
        self.assertEqual(fates(play(chain(service(ledger=True)))), ["taken"])

    def test_registry_property_is_no_service_property(self):
        node = service(transport=ABSENT, ledger=True, properties={"Transport": "HUB"})
        self.assertEqual(fates(play(chain(node))), ["other transport"])

    def test_each_known_usage_is_taken(self):
        for usage in ([0x0C, 1], [0x0B, 1], [0xFF00, 3], [0xFF00, 9], [0xFF00, 0x0A],
                      [0x20, 0x31], [0xFF00, 0x29]):
            self.assertEqual(fates(play(chain(service(usages=[usage])))), ["taken"])


class WhereAServiceLeads(unittest.TestCase):
    def test_service_is_logged_by_its_driver_node(self):
        roots = chain(service(reports=7)), chain(service(name="gyro", id=7, transport="SPU"))
        roots[0]["children"][0]["children"][0]["hid"]["usages"] = [SENSOR]
        self.assertEqual(messages(play(*roots)), ["registerService: name=gyro"])

    def test_id_without_a_node_is_dropped_without_a_message(self):
        for reported in (0, False, 8):
            outcome = play(chain(service(id=7, ledger=True, reports=reported)))
            self.assertEqual((fates(outcome), outcome.log), (["no driver service"], []))

    def test_own_id_given_as_a_number_leads_to_the_node(self):
        outcome = play(chain(service(id=7, ledger=True, reports=7)))
        self.assertEqual(fates(outcome), ["taken"])

    def test_root_and_child_of_a_root_are_dropped_after_their_line(self):
        child = {"name": "root", "device": {}, "children": [service(ledger=True)]}
        for root in (service(ledger=True), child):
            outcome = play(root)
            self.assertEqual(fates(outcome), ["no device service"])
            self.assertEqual(messages(outcome), [SERVICE_LINE])

    def test_services_are_registered_in_document_order(self):
        below = service(name="below", ledger=True)
        outcome = play(chain(service(name="first", ledger=True, children=[below]),
                             service(name="second", ledger=True)),
                       chain(service(name="third", ledger=True)))
        self.assertEqual([name for name, _ in outcome.services],
                         ["first", "below", "second", "third"])

    def test_one_final_line_end_of_a_name_is_taken_off(self):
        outcome = play(chain(service(name="a\nb\n\n", ledger=True)))
        self.assertEqual(messages(outcome), ["registerService: name=a\nb\n"])


class DriverInterface(unittest.TestCase):
    def with_driver(self, driver, **options):
        return play(chain(service(ledger=True, driver=driver)), **options)

    def test_service_without_a_driver_plug_in_is_kept_without_a_message(self):
        for driver in (None, {"plugin": False, "open": 1, "query": -1}):
            outcome = self.with_driver(driver)
            self.assertEqual((fates(outcome), messages(outcome)), (["taken"], [SERVICE_LINE]))

    def test_missing_interface_is_logged_twice_and_the_service_kept(self):
        outcome = self.with_driver({"interface": False, "open": 1})
        self.assertEqual(messages(outcome), [SERVICE_LINE, DRIVER_QUERY, DRIVER_MISSING])
        self.assertEqual(fates(outcome), ["taken"])

    def test_missing_interface_of_a_successful_query_is_logged_once(self):
        for code in (0, 1, "0x7FFFFFFF"):
            outcome = self.with_driver({"interface": False, "query": code})
            self.assertEqual(messages(outcome), [SERVICE_LINE, DRIVER_MISSING])

    def test_interface_of_a_failed_query_is_used(self):
        for code in (-1, 0x80000004, "0xe00002bc"):
            outcome = self.with_driver({"query": code, "open": 1})
            self.assertEqual(messages(outcome), [SERVICE_LINE, DRIVER_QUERY])
            self.assertEqual(fates(outcome), ["driver not opened"])

    def test_any_open_but_zero_drops_the_service(self):
        for code in (1, -1, 0xE00002BC, "0x1"):
            outcome = self.with_driver({"open": code}, batches=[batch(ADD_ONE)])
            self.assertEqual(fates(outcome), ["driver not opened"])
            self.assertEqual((messages(outcome), outcome.dropped), ([SERVICE_LINE], ["accel"]))
        self.assertEqual(fates(self.with_driver({"open": "0x0"})), ["taken"])

    def test_services_of_one_driver_go_on_in_its_sequence(self):
        driver = {"open": {"sequence": [1, 0, "0xE00002BC"]}}
        outcome = play(chain(service(id=7, ledger=True, driver=driver),
                             *(service(name=name, ledger=True, reports=7)
                               for name in ("b", "c", "d"))))
        self.assertEqual(fates(outcome), ["driver not opened", "taken",
                                          "driver not opened", "driver not opened"])

    def test_driver_that_is_not_reached_does_not_go_on_in_its_sequence(self):
        driver = {"interface": False, "open": {"sequence": [0, 1]}}
        outcome = play(chain(service(id=7, ledger=True, driver=driver),
                             service(name="b", ledger=True, reports=7)))
        self.assertEqual(fates(outcome), ["taken", "taken"])


class DeviceInterface(unittest.TestCase):
    def with_device(self, device):
        return play(chain(service(ledger=True), device=device), batches=[batch(ADD_ONE)])

    def test_service_without_a_device_plug_in_gets_no_batch(self):
        for device in (None, {"plugin": False}):
            outcome = self.with_device(device)
            self.assertEqual(messages(outcome), [SERVICE_LINE])
            self.assertEqual((fates(outcome), outcome.dropped), (["taken"], ["accel"]))

    def test_missing_interface_is_logged_twice_and_the_batch_dropped(self):
        outcome = self.with_device({"interface": False})
        self.assertEqual(messages(outcome), [SERVICE_LINE, DEVICE_QUERY, DEVICE_MISSING])
        self.assertEqual((fates(outcome), outcome.dropped), (["taken"], ["accel"]))

    def test_missing_interface_of_a_successful_query_is_logged_once(self):
        outcome = self.with_device({"interface": False, "query": 0})
        self.assertEqual(messages(outcome), [SERVICE_LINE, DEVICE_MISSING])

    def test_interface_of_a_failed_query_is_used(self):
        outcome = self.with_device({"query": "0x80000000"})
        self.assertEqual(messages(outcome), [SERVICE_LINE, DEVICE_QUERY, RECORD_LINE])

    def test_result_of_opening_the_device_is_ignored(self):
        outcome = self.with_device({"open": {"sequence": [0xE00002BC]}})
        self.assertEqual((fates(outcome), outcome.dropped), (["taken"], []))

    def test_driver_is_asked_before_the_device(self):
        far_side = {"interface": False}
        outcome = play(chain(service(ledger=True, driver=far_side), device=far_side))
        self.assertEqual(messages(outcome)[1:], [DRIVER_QUERY, DRIVER_MISSING,
                                                 DEVICE_QUERY, DEVICE_MISSING])

    def test_service_without_statistics_gets_no_callback(self):
        outcome = play(chain(service(usages=[SENSOR])), batches=[batch(ADD_ONE)])
        self.assertEqual((fates(outcome), outcome.dropped), (["taken"], ["accel"]))


class StatisticsCallback(unittest.TestCase):
    def test_batch_of_a_service_that_declares_no_statistics_reaches_its_device(self):
        outcome = play(chain(service(ledger=True), service(name="gyro", usages=[SENSOR])),
                       batches=[batch(ADD_ONE, to="gyro")])
        self.assertEqual((outcome.dropped, outcome.ledger.scalars), ([], {RECORD_KEY: 1}))

    def test_callback_stands_where_the_reported_id_leads(self):
        roots = (chain(service(ledger=True, reports=7)),
                 chain(service(name="gyro", id=7, transport="SPU")))
        outcome = play(*roots, batches=[batch(ADD_ONE), batch(ADD_ONE, to="gyro")])
        self.assertEqual((outcome.dropped, outcome.ledger.scalars),
                         (["accel"], {RECORD_KEY: 1}))

    def test_batch_of_a_service_without_a_device_above_is_dropped(self):
        roots = (service(ledger=True, reports=7), chain({"name": "driver", "id": 7}))
        outcome = play(*roots, batches=[batch(ADD_ONE)])
        self.assertEqual((fates(outcome), outcome.dropped), (["taken"], ["accel"]))

    def test_service_dropped_without_its_hid_device_keeps_the_callback(self):
        outcome = play(chain(service(ledger=True, usages=[CONSUMER_CONTROL]),
                             device={"hidDevice": False}), batches=[batch(ADD_ONE)])
        self.assertEqual((fates(outcome), outcome.dropped), (["no HID device"], []))
        self.assertEqual(messages(outcome), [SERVICE_LINE, RECORD_LINE])

    def test_each_dropped_batch_is_told_in_order(self):
        outcome = play(chain(service(usages=[SENSOR]), service(name="gyro")),
                       batches=[batch(to="gyro"), batch(ADD_ONE), batch(to="gyro")])
        self.assertEqual(outcome.dropped, ["gyro", "accel", "gyro"])


class StateHandlers(unittest.TestCase):
    def kinds_of(self, *usages, **parts):
        return kinds(play(chain(service(usages=usages, **parts))))

    def test_statistics_alone_give_no_handlers(self):
        self.assertEqual(self.kinds_of(ledger=True), [])

    def test_consumer_control_gets_both_button_handlers_and_raw_debug(self):
        self.assertEqual(self.kinds_of(CONSUMER_CONTROL),
                         ["SSHBStats", "SSHBAssets", "RawDebugData"])

    def test_telephony_button_gets_raw_debug_alone_and_needs_no_hid_device(self):
        outcome = play(chain(service(usages=[TELEPHONY]), device={"hidDevice": False}))
        self.assertEqual((fates(outcome), kinds(outcome)), (["taken"], ["RawDebugData"]))

    def test_consumer_control_without_a_hid_device_gets_none(self):
        for device in (None, {"hidDevice": False}):
            outcome = play(chain(service(usages=[CONSUMER_CONTROL]), device=device))
            self.assertEqual((fates(outcome), kinds(outcome)), (["no HID device"], []))

    def test_hid_device_needs_no_plug_in(self):
        outcome = play(chain(service(usages=[CONSUMER_CONTROL]), device={"plugin": False}))
        self.assertEqual(fates(outcome), ["taken"])

    def test_sensor_and_debug_service_get_theirs(self):
        self.assertEqual(self.kinds_of(SENSOR), ["SensorInfo", "RawDebugData"])
        self.assertEqual(self.kinds_of(DEBUG), ["RawDebugData"])

    def test_service_of_all_kinds_gets_all(self):
        self.assertEqual(self.kinds_of(DEBUG, SENSOR, TELEPHONY, CONSUMER_CONTROL),
                         ["SSHBStats", "SSHBAssets", "SensorInfo", "RawDebugData"])

    def test_first_service_alone_gets_raw_debug(self):
        outcome = play(chain(service(ledger=True), service(name="gyro", usages=[SENSOR]),
                             service(name="button", usages=[CONSUMER_CONTROL])))
        self.assertEqual([(handlers[0].driver.name, kind, len(handlers))
                          for kind, handlers in in_groups(outcome.handlers)],
                         [("gyro", "SensorInfo", 1), ("gyro", "RawDebugData", 104),
                          ("button", "SSHBStats", 1), ("button", "SSHBAssets", 1)])

    def test_dropped_service_leaves_raw_debug_to_the_next(self):
        outcome = play(chain(service(usages=[CONSUMER_CONTROL]), device={"hidDevice": False}),
                       chain(service(name="gyro", usages=[TELEPHONY])))
        self.assertEqual(outcome.handlers[0].driver.name, "gyro")

    def test_raw_debug_handlers_stand_in_three_families(self):
        handlers = play(chain(service(usages=[DEBUG]))).handlers
        given = [(handler.index, *handler.arguments) for handler in handlers]
        self.assertEqual(len(given), 104)
        self.assertEqual([given[0], given[47]], [(0, 32, 1, 1376), (47, 32, 1, 1376)])
        self.assertEqual([given[48], given[55]], [(0, 32, 2, 0), (7, 32, 2, 0)])
        self.assertEqual([given[56], given[103]], [(0, 32, 3, 0), (47, 32, 3, 0)])

    def test_kind_of_capture_selects_handlers(self):
        outcome = play(chain(service(usages=[CONSUMER_CONTROL, SENSOR])), captures=(1, 2, 3))
        self.assertEqual([len(handlers) for handlers in outcome.captures], [0, 104, 107])


class Publishing(unittest.TestCase):
    def scalars_after(self, *records, **options):
        return published(*records, **options).ledger.scalars

    def samples_after(self, *records):
        samples = published(*records).ledger.samples
        self.assertLessEqual(len(samples), 1)
        return samples.get(RECORD_KEY)

    def test_empty_batch_leaves_nothing(self):
        outcome = published()
        self.assertEqual((outcome.log, outcome.dropped), ([], []))
        self.assertEqual((outcome.ledger.scalars, outcome.ledger.samples), ({}, {}))

    def test_record_of_another_version_is_skipped_and_the_next_published(self):
        outcome = published({"op": 3, "key": 1, "version": 0x42}, ADD_ONE)
        self.assertEqual(messages(outcome), [
            "publishSLData hubsldkeys version mismatch (0x42/0x43)", RECORD_LINE])
        self.assertEqual(outcome.ledger.scalars, {RECORD_KEY: 1})

    def test_zero_is_written_without_a_prefix(self):
        outcome = published({"op": 3, "key": 1, "version": 0}, {"op": 0, "key": 0})
        self.assertEqual(messages(outcome), [
            "publishSLData hubsldkeys version mismatch (0/0x43)",
            f"publishSLData op=0 '{RECORD_KEY}' (0)"])

    def test_op_zero_is_logged_and_does_nothing(self):
        ledger = published({"op": 0, "key": 0, "value": 5}).ledger
        self.assertEqual((ledger.scalars, ledger.samples), ({}, {}))

    def test_log_line_tells_op_key_and_index(self):
        self.assertEqual(published({"op": 255, "key": 25}).log, [
            {"level": "error", "subsystem": "NEB", "category": "VantuHUBHIDStatistics",
             "message": "publishSLData op=0xff"
                        " 'com.vantu.com.neb.prox.baseline_to_trigger.time.dist' (0x19)"}])

    def test_keys_end_at_66(self):
        keys = [list(self.scalars_after({"op": 2, "key": key})) for key in (66, 67, 255)]
        self.assertEqual(keys, [["com.vantu.neb.test"], ["com.vantu.neb.unknown"],
                                ["com.vantu.neb.unknown"]])

    def test_keys_keep_their_spelling(self):
        ends = [next(iter(self.scalars_after({"op": 2, "key": key}))) for key in (30, 31)]
        self.assertEqual(ends, [
            "com.vantu.neb.prox.num_frames_for_high_ambient_baseline_capture"
            "_target_approched.dist",
            "com.vantu.neb.prox.num_bias_corrected_frames_for_high_ambient_baseline_capture"
            "_target_approched.dist"])
        self.assertEqual((len(session_model.KEYS), len(set(session_model.KEYS))), (67, 67))

    def test_scalar_is_set_sign_extended(self):
        self.assertEqual(self.scalars_after({"op": 2, "key": 0, "value": 0xFFFFFFFF}),
                         {RECORD_KEY: -1})

    def test_scalar_adds_from_zero_and_from_what_is_there(self):
        self.assertEqual(self.scalars_after(ADD_ONE, {"op": 3, "key": 0, "value": -5}),
                         {RECORD_KEY: -4})

    def test_adding_wraps_around_at_64_bits(self):
        for start, step, end in ((2**63 - 1, 1, -(2**63)), (-(2**63), -1, 2**63 - 1)):
            record = {"op": 3, "key": 0, "value": step}
            ledger = Ledger({RECORD_KEY: start})
            self.assertEqual(self.scalars_after(record, ledger=ledger), {RECORD_KEY: end})

    def test_clearing_a_scalar_leaves_its_samples(self):
        ledger = published(ADD_ONE, {"op": 6, "key": 0}, {"op": 1, "key": 0}).ledger
        self.assertEqual((ledger.scalars, ledger.samples), ({}, {RECORD_KEY: [0.0]}))

    def test_clearing_a_distribution_leaves_its_scalar(self):
        ledger = published(ADD_ONE, {"op": 6, "key": 0}, {"op": 4, "key": 0}).ledger
        self.assertEqual((ledger.scalars, ledger.samples), ({RECORD_KEY: 1}, {}))

    def test_setting_a_distribution_leaves_one_sample(self):
        for value, sample in ((0x00018000, 1.5), (0xFFFF0000, -1.0)):
            self.assertEqual(self.samples_after({"op": 7, "key": 0, "value": 9},
                                                {"op": 5, "key": 0, "value": value}), [sample])

    def test_op_above_five_pushes_as_often_as_it_is_above(self):
        for op, count in ((6, 1), (8, 3), (255, 250)):
            self.assertEqual(self.samples_after({"op": op, "key": 0, "value": 0x8000}),
                             [0.5] * count)

    def test_samples_stay_in_their_order(self):
        pushes = [{"op": 6, "key": 0, "value": value << 16} for value in (3, 1, 2)]
        self.assertEqual(self.samples_after(*pushes), [3.0, 1.0, 2.0])

    def test_sample_has_single_precision(self):
        for value, sample in ((2**24 + 1, 256.0), (2**24 + 3, 256.00006103515625),
                              (2**31 - 1, 32768.0), (-(2**31) + 1, -32768.0)):
            self.assertEqual(self.samples_after({"op": 5, "key": 0, "value": value}), [sample])


class Logging(unittest.TestCase):
    ROOT = chain(service(ledger=True, driver={"interface": False, "query": 0}))
    OPTIONS = {"batches": [batch(ADD_ONE)], "notifications": [FAULT]}

    def test_registrations_come_before_batches_and_batches_before_notifications(self):
        outcome = play(self.ROOT, **self.OPTIONS)
        self.assertEqual(messages(outcome),
                         [SERVICE_LINE, DRIVER_MISSING, RECORD_LINE, "fault!"])
        self.assertEqual([line["level"] for line in outcome.log],
                         ["default", "default", "error", "fault"])

    def test_level_leaves_out_what_is_below_and_keeps_the_ledger(self):
        for level, count in (("default", 4), ("error", 2), ("fault", 1), ("off", 0)):
            outcome = play(self.ROOT, log_level=level, **self.OPTIONS)
            self.assertEqual(len(outcome.log), count)
            self.assertEqual(outcome.ledger.scalars, {RECORD_KEY: 1})

    def test_each_post_of_the_fault_notification_is_logged(self):
        outcome = play(chain(), notifications=[FAULT, FAULT + "2", FAULT, "fault!"])
        self.assertEqual(messages(outcome), ["fault!", "fault!"])


class DeviceFile(unittest.TestCase):
    def test_comments_are_left_out_and_strings_kept(self):
        text = '{ /* " */ "a//b": "/* c */", // "d\n "e\\"//": 1 /* * / **/ }'
        self.assertEqual(json.loads(session_model.without_comments(text)),
                         {"a//b": "/* c */", 'e"//': 1})

    def test_last_status_of_a_sequence_repeats(self):
        sequence = {"sequence": [0, -1, "0x1f"]}
        self.assertEqual([session_model.status_code(sequence, call) for call in range(4)],
                         [0, 0xFFFFFFFF, 31, 31])

    def test_batch_has_the_same_bytes_in_every_form(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder)
            (path / "b.bin").write_bytes(bytes.fromhex("ff 4303 00 01000000 00"))
            for body in ({"records": [ADD_ONE]}, {"hex": " 4 30300 01 00 0000 "},
                         {"file": "b.bin", "offset": 1, "length": 7}):
                outcome = play(chain(service(ledger=True)), folder=path,
                               batches=[{"service": "accel", **body}])
                self.assertEqual(messages(outcome), [SERVICE_LINE, RECORD_LINE])

    def test_file_is_read_with_its_batches(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "device.json"
            path.write_text(json.dumps({
                "format": "hub-device/1", "registry": [chain(service(ledger=True))],
                "batches": [batch(ADD_ONE)]}), encoding="utf-8")
            outcome = run(session_model.read_device(path))
        self.assertEqual((outcome.exit_status, outcome.ledger.scalars), (0, {RECORD_KEY: 1}))


if __name__ == "__main__":
    unittest.main()
