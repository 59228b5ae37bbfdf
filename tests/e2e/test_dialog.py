"""End-to-end tests of the consent dialog: the built program on a real screen. What a user does in it
must be what the settings say afterwards, and nothing else."""

from __future__ import annotations

import re
import struct
import time
import unittest
from datetime import datetime, timezone
from typing import ClassVar

import dialog
import harness
from dialog import (
    DECLINE,
    EMAIL,
    OK,
    PARTICIPATE,
    PRIVACY_POLICY,
    REMIND_LATER,
    SILENCE,
    TITLE,
    Area,
    Dialog,
    Driver,
    Picture,
    Screenshot,
    click_at,
    input_,
    key,
    pixels,
    pointer_image,
)
from harness import IDENTIFIER, Sandbox, windows_path

STATE = ("General", "PeltoState")
EMAIL_KEY = ("General", "Email")
SHOWS = ("General", "ShowMessage")
SHOWN = ("General", "LastDlgOpenDate")

DATE = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ")
ADDRESS = "https://www.quintar.example/privacy"
WHITE = (255, 255, 255)
PICTURE = Picture(harness.REPOSITORY / "ui" / "artwork" / "background.png")
HTCAPTION = 2

BODY = (
    "Join the Customer Feedback Program(PELTO) and reap the benefits. The system and usage data you "
    "share enables Quintar to identify product improvements and helps us personalize your "
    "experience with the software."
)
CONSENT = (
    "Yes, I would like to participate in PELTO. I have read the Quintar Privacy Policy  and agree to "
    "the use, processing and storage of my personal data in accordance with the policy."
)
# The template, in the order of the Tab key: number, kind, text, and rectangle in dialog units.
TEMPLATE: list[tuple[int, str, str, Area]] = [
    (OK, "Button", "OK", (427, 253, 50, 14)),
    (TITLE, "Static", "Improve Your Product Experience", (294, 33, 184, 16)),
    (-1, "Static", BODY, (258, 52, 219, 35)),
    (PARTICIPATE, "Button", CONSENT, (264, 96, 187, 41)),
    (DECLINE, "Button", "No, thanks.", (264, 202, 53, 10)),
    (PRIVACY_POLICY, "Static", "Privacy Policy", (274, 139, 44, 8)),
    (-1, "Static", "Email Address (Optional)", (274, 155, 79, 8)),
    (EMAIL, "Edit", "", (274, 166, 177, 14)),
    (REMIND_LATER, "Button", "Remind me later", (347, 253, 69, 14)),
    (SILENCE, "Button", "Don't show this message again", (264, 255, 114, 10)),
]
GROUP, TAB_STOP, TRANSPARENT = 0x20000, 0x10000, 0x20
RADIO, CHECK_BOX, DEFAULT, MULTILINE, TOP_TEXT = 9, 3, 1, 0x2000, 0x400
SCROLLS, NOTIFIES = 0x80, 0x100
# The styles of the shown controls in the same order, and those that go beyond the window. Windows
# gives and takes the chosen button's tab stop by itself.
STYLES: list[tuple[int, int]] = [
    (DEFAULT | TAB_STOP, 0),
    (GROUP, 0),
    (GROUP, 0),
    (RADIO | MULTILINE | TOP_TEXT | GROUP, TRANSPARENT),
    (RADIO | TAB_STOP, TRANSPARENT),
    (GROUP | NOTIFIES, TRANSPARENT),
    (GROUP, TRANSPARENT),
    (TAB_STOP | SCROLLS, 0),
    (TAB_STOP, 0),
    (CHECK_BOX | TAB_STOP, 0),
]


class DialogTest(unittest.TestCase):
    """A data folder, and a driver that the tests of a class share."""

    driver: ClassVar[Driver]

    @classmethod
    def setUpClass(cls) -> None:
        if not dialog.has_screen():
            raise AssertionError("the dialog's tests need a screen")
        cls.driver = Driver()

    @classmethod
    def tearDownClass(cls) -> None:
        cls.driver.close()

    def setUp(self) -> None:
        self.sandbox = Sandbox()
        self.addCleanup(self.sandbox.remove)
        # Where no test's control is.
        input_("mousemove", 5, 5)

    def show(self, program: harness.Path = harness.PROGRAM) -> Dialog:
        """The dialog as `dlg` shows it, ready for the keyboard."""
        return Dialog(self.driver, "dlg", windows_path(self.sandbox.data), program=program)

    def write_settings(self, *lines: bytes) -> None:
        """The settings of a user, with these lines in their section General."""
        self.sandbox.settings_path.write_bytes(
            b"[PELTO]\r\nID=" + IDENTIFIER.encode() + b"\r\n[General]\r\n"
            + b"".join(line + b"\r\n" for line in lines)
        )

    def answer(self, key_: tuple[str, str]) -> str | None:
        """What the settings say now."""
        return self.sandbox.settings().get(key_)

    def assert_shown_today(self) -> None:
        """The date of the showing was written just now."""
        text = self.answer(SHOWN)
        assert text is not None
        self.assertRegex(text, DATE)
        shown = datetime.strptime(text, "%Y-%m-%dT%H:%M:%SZ").replace(tzinfo=timezone.utc)
        self.assertLess(abs((datetime.now(timezone.utc) - shown).total_seconds()), 60)


class Appearance(DialogTest):
    """What the user sees when the dialog comes up."""

    def test_its_client_area_is_as_large_as_its_picture(self) -> None:
        with self.show() as shown:
            self.assertEqual(pixels((0, 0, 502, 274)), (0, 0, 753, 445))
            self.assertEqual(shown.window()["client"], [0, 0, 753, 445])
            shown.close()

    def test_it_is_a_topmost_layered_popup_with_a_border_and_no_caption(self) -> None:
        with self.show() as shown:
            window = shown.window()
            shown.close()
        self.assertEqual(window["style"] & 0x80880000, 0x80880000)
        self.assertEqual(window["style"] & 0x00400000, 0, "WS_DLGFRAME")
        self.assertEqual(window["exstyle"] & 0x80008, 0x80008)

    def test_its_name_for_the_taskbar_and_screen_readers_is_its_title(self) -> None:
        with self.show() as shown:
            name = shown.window()["text"]
            shown.close()
        self.assertEqual(name, "Improve Your Product Experience")

    def test_it_is_nearly_opaque_from_the_start_and_stays_so(self) -> None:
        with self.show() as shown:
            self.assertEqual(shown.opacities(500), [245])
            window = shown.window()
            shown.close()
        self.assertEqual((window["flags"], window["key"]), (2, 0))

    def test_it_stands_in_the_middle_of_the_screen(self) -> None:
        with self.show() as shown:
            left, top, width, height = shown.window()["area"]
            shown.close()
        self.assertEqual((width, height), (755, 447))
        self.assertEqual((left, top), (1280 // 2 - 755 // 2, 800 // 2 - 447 // 2))

    def test_its_controls_are_those_of_the_template(self) -> None:
        with self.show() as shown:
            controls = shown.controls()
            shown.close()
        self.assertEqual(
            [(control.number, control.kind, control.text, control.area) for control in controls],
            [(number, kind, text, pixels(area)) for number, kind, text, area in TEMPLATE],
        )
        self.assertTrue(all(control.enabled for control in controls))
        hidden = [control.number for control in controls if not control.visible]
        self.assertEqual(hidden, [REMIND_LATER])

    def test_the_controls_have_the_templates_styles(self) -> None:
        border, client_edge = 0x800000, 0x200
        with self.show() as shown:
            controls = shown.controls()
            shown.close()
        own = [
            (control.style & 0x0FFFFFFF & ~border, control.exstyle & TRANSPARENT)
            for control in controls
        ]
        self.assertEqual(own, STYLES)
        # Themed fields draw their border in another way.
        bordered = [
            control.number for control in controls
            if control.style & border or control.exstyle & client_edge
        ]
        self.assertEqual(bordered, [EMAIL])

    def test_the_template_and_the_manifest_are_what_the_program_holds(self) -> None:
        template = self.resource("#5", 101)
        # Version 1 and signature, no help, topmost, style, ten controls, place and size, no menu, no
        # class, no caption, and the font: 8 points, weight 400, not italic, any character set.
        head = (
            struct.pack("<HHIIIH4h", 1, 0xFFFF, 0, 0x8, 0x80880048, 10, 0, 0, 502, 274)
            + struct.pack("<HHH", 0, 0, 0)
            + struct.pack("<HHBB", 8, 400, 0, 1)
            + "MS Shell Dlg\0".encode("utf-16-le")
        )
        self.assertEqual(template[: len(head)], head)
        manifest = self.resource("#24", 1)
        for part in (b'name="Microsoft.Windows.Common-Controls" version="6.0.0.0"',
                     b'level="asInvoker"'):
            self.assertIn(part, manifest)
        self.assertNotIn(b"dpiAware", manifest)

    def resource(self, kind: str, number: int) -> bytes:
        """The bytes of one of the program's resources."""
        target = self.sandbox.root / "resource.bin"
        read = dialog.run_tool(
            "resource_editor.exe", windows_path(harness.PROGRAM), kind, str(number), ">",
            windows_path(target),
        )
        self.assertEqual(read, 0)
        return target.read_bytes()

    def test_the_picture_is_pure_white_where_controls_stand(self) -> None:
        for _, _, text, area in TEMPLATE:
            left, top, width, height = pixels(area)
            for y in range(top - 3, top + height + 3):
                for x in range(left - 3, left + width + 3):
                    self.assertEqual(PICTURE.at(x, y), WHITE, f"under {text!r}, at {x}, {y}")

    def test_the_picture_fills_the_window(self) -> None:
        with dialog.program_copy(
            ("localizer.dll", "LangExt.dll"), ("bare_dialog.dll", "Texts.dll")
        ) as program, self.show(program) as shown:
            left, top = shown.origin()
            time.sleep(0.5)
            seen = Screenshot((left, top, 753, 445))
            ok = shown.controls()[0].area
            shown.close()
        different = [
            (x, y) for y in range(445) for x in range(753)
            if seen.at(x, y) != PICTURE.at(x, y)
            and not (ok[0] <= x < ok[0] + ok[2] and ok[1] <= y < ok[1] + ok[3])
        ]
        self.assertEqual(different, [])

    def test_the_link_is_drawn_in_blue_and_underlined(self) -> None:
        with self.show() as shown:
            time.sleep(0.5)
            area = shown.place(PRIVACY_POLICY)
            picture = Screenshot(area)
            shown.close()
        rows = [
            sum(picture.at(x, y) == (0, 0, 255) for x in range(area[2])) for y in range(area[3])
        ]
        self.assertGreaterEqual(max(rows), 60, "an unbroken line under the text")
        self.assertGreaterEqual(sum(count > 0 for count in rows), 8, "the letters above it")

    def test_no_text_is_cut(self) -> None:
        with self.show() as shown:
            time.sleep(0.5)
            areas = {n: shown.place(n) for n in (PARTICIPATE, DECLINE, PRIVACY_POLICY, SILENCE)}
            left, top = shown.origin()
            label = pixels((274, 155, 79, 8))
            areas[-1] = (left + label[0], top + label[1], label[2], label[3])
            shots = {number: Screenshot(area) for number, area in areas.items()}
            shown.close()
        for number, area in areas.items():
            with self.subTest(number=number):
                column = [shots[number].at(area[2] - 1, y) for y in range(area[3])]
                self.assertEqual(column, [WHITE] * area[3], "ink in the last column")
        # The label's last letters are there, not only its first words.
        label_shot, label_area = shots[-1], areas[-1]
        ink = [
            x for x in range(label_area[2])
            if any(label_shot.at(x, y) != WHITE for y in range(label_area[3]))
        ]
        self.assertGreater(max(ink), 110)

    def test_there_is_no_button_to_be_reminded_in_sight(self) -> None:
        with self.show() as shown:
            time.sleep(0.5)
            left, top, width, height = shown.place(REMIND_LATER)
            # Its left part would stand on the check box.
            box_left, _, box_width, _ = shown.place(SILENCE)
            beside = box_left + box_width - left
            picture = Screenshot((left + beside, top, width - beside, height))
            shown.close()
        self.assertEqual(set(zip(*[iter(picture.pixels)] * 3)), {WHITE})

    def test_a_picture_that_is_missing_or_spoilt_leaves_a_dialog_that_works(self) -> None:
        spoilt = self.sandbox.root / "spoilt.png"
        spoilt.write_bytes(b"\x89PNG\r\n\x1a\nno picture")
        for replacement in ([], [windows_path(spoilt)]):
            with self.subTest(replacement=replacement), dialog.program_copy() as program:
                edited = dialog.run_tool(
                    "resource_editor.exe", windows_path(program), "PNG", "109", *replacement
                )
                self.assertEqual(edited, 0)
                with self.show(program) as shown:
                    shown.click(PARTICIPATE)
                    shown.type_email("user@example.com")
                    shown.click(OK)
                    self.assertTrue(shown.gone())
                self.assertEqual(self.answer(STATE), "1")
                self.assertEqual(self.answer(EMAIL_KEY), "user@example.com")


class Opening(DialogTest):
    """What the controls say when the dialog comes up."""

    def opened(self, *settings: bytes) -> tuple[bool, bool, str, bool]:
        """Whether Yes and No are chosen, the address, and whether the box is checked."""
        self.write_settings(*settings)
        with self.show() as shown:
            email = shown.control(EMAIL)
            assert email is not None
            seen = (
                shown.is_checked(PARTICIPATE),
                shown.is_checked(DECLINE),
                email.text,
                shown.is_checked(SILENCE),
            )
            shown.close()
        return seen

    def test_no_is_chosen_when_nothing_is_stored(self) -> None:
        self.assertEqual(self.opened(), (False, True, "", False))

    def test_no_is_chosen_after_a_refusal_and_yes_after_anything_else(self) -> None:
        for state in (b"0", b"1", b"2", b"3", b"7", b"-2", b"22", b"abc"):
            with self.subTest(state=state):
                yes, no, _, _ = self.opened(b"PeltoState=" + state)
                self.assertEqual((yes, no), (state != b"2", state == b"2"))

    def test_the_stored_address_stands_in_its_field(self) -> None:
        self.assertEqual(self.opened(b"Email=user@example.com")[2], "user@example.com")

    def test_an_address_of_the_code_page_stands_in_its_field(self) -> None:
        self.assertEqual(self.opened("Email=jürgen@bücher.example".encode("cp1252"))[2],
                         "jürgen@bücher.example")

    def test_the_box_is_checked_only_when_messages_are_off(self) -> None:
        for value, checked in ((b"0", True), (b"1", False), (b"2", False), (b"abc", True)):
            with self.subTest(value=value):
                self.assertEqual(self.opened(b"ShowMessage=" + value)[3], checked)

    def test_looking_writes_nothing_but_the_date(self) -> None:
        self.opened(b"PeltoState=3", b"Email=user@example.com", b"ShowMessage=0")
        settings = self.sandbox.settings()
        self.assertEqual(
            {name: value for name, value in settings.items() if name != SHOWN},
            {
                ("PELTO", "ID"): IDENTIFIER,
                STATE: "3",
                EMAIL_KEY: "user@example.com",
                SHOWS: "0",
            },
        )
        self.assert_shown_today()


# What is typed, and what the settings hold then. The settings are in the code page, and reading
# them takes away the blanks around a value.
ADDRESSES: list[tuple[str, str]] = [
    ("", ""),
    ("user@example.com", "user@example.com"),
    ("first.last@mail.example.com", "first.last@mail.example.com"),
    ("user+tag@example.co", "user+tag@example.co"),
    ("USER@EXAMPLE.COM", "USER@EXAMPLE.COM"),
    ("o'neil@example.com", "o'neil@example.com"),
    ("user@192.0.2.1", "user@192.0.2.1"),
    ("user", ""),
    ("example.com", ""),
    ("user.example.com", ""),
    ("@", ""),
    (".", ""),
    ("@.", "@."),
    (".@", ""),
    ("user@example", ""),
    ("first.last@example", ""),
    ("a@b.c@d", "a@b.c@d"),
    ("a.b@c", ""),
    ("a@b@c.d", "a@b@c.d"),
    ("a@.", "a@."),
    ("us er@exam ple.com", "us er@exam ple.com"),
    ("user@example.com; other@example.com", "user@example.com; other@example.com"),
    ("user=1@example.com", "user=1@example.com"),
    ("[user]@example.com", "[user]@example.com"),
    ("jürgen@bücher.example", "jürgen@bücher.example"),
    ("пользователь@пример.рф", "????????????@??????.??"),
    ("用户@例子.公司", "??@??.??"),
    ("user@example。com", ""),
    ("  user@example.com  ", "user@example.com"),
    ("a" * 2000 + "@example.com", ""),
    ("user@example." + "c" * 2000, "user@example." + "c" * 1026),
    ("a" * 1037 + "@." + "b" * 961, "a" * 1037 + "@."),
]


class Answering(DialogTest):
    """What the settings say after the user has answered."""

    def test_yes_is_stored_as_taking_part(self) -> None:
        with self.show() as shown:
            shown.click(PARTICIPATE)
            shown.click(OK)
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "1")
        self.assertEqual(self.answer(EMAIL_KEY), "")
        self.assertEqual(self.answer(SHOWS), "1")
        self.assert_shown_today()

    def test_no_is_stored_as_a_refusal(self) -> None:
        self.write_settings(b"PeltoState=1")
        with self.show() as shown:
            shown.click(DECLINE)
            shown.click(OK)
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "2")
        self.assert_shown_today()

    def test_ok_at_once_takes_what_was_chosen_before(self) -> None:
        for before, after in ((b"1", "1"), (b"2", "2"), (b"3", "1"), (b"0", "1"), (b"7", "1")):
            with self.subTest(before=before):
                self.write_settings(b"PeltoState=" + before)
                with self.show() as shown:
                    shown.click(OK)
                    self.assertTrue(shown.gone())
                self.assertEqual(self.answer(STATE), after)

    def test_a_new_user_who_presses_ok_at_once_has_not_agreed(self) -> None:
        with self.show() as shown:
            shown.click(OK)
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "2")

    def test_the_one_choice_excludes_the_other(self) -> None:
        with self.show() as shown:
            shown.click(PARTICIPATE)
            shown.click(DECLINE)
            shown.click(PARTICIPATE)
            time.sleep(0.2)
            self.assertTrue(shown.is_checked(PARTICIPATE))
            self.assertFalse(shown.is_checked(DECLINE))
            shown.close()

    def test_addresses_are_kept_or_dropped_by_their_at_sign_and_last_dot(self) -> None:
        for typed, stored in ADDRESSES:
            with self.subTest(typed=typed[:60]):
                self.write_settings(b"PeltoState=1", b"Email=before@example.com")
                with self.show() as shown:
                    shown.type_email(typed)
                    shown.click(OK)
                    self.assertTrue(shown.gone())
                self.assertEqual(self.answer(EMAIL_KEY), stored)

    def test_an_address_is_stored_with_a_refusal_too(self) -> None:
        with self.show() as shown:
            shown.click(DECLINE)
            shown.type_email("user@example.com")
            shown.click(OK)
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "2")
        self.assertEqual(self.answer(EMAIL_KEY), "user@example.com")

    def test_the_box_turns_messages_off_and_on_again(self) -> None:
        for clicks, stored in ((1, "0"), (0, "0"), (1, "1"), (0, "1")):
            with self.show() as shown:
                for _ in range(clicks):
                    shown.click(SILENCE)
                shown.click(OK)
                self.assertTrue(shown.gone())
            self.assertEqual(self.answer(SHOWS), stored)

    def test_the_next_dialog_shows_the_last_answer(self) -> None:
        with self.show() as shown:
            shown.click(PARTICIPATE)
            shown.type_email("user@example.com")
            shown.click(SILENCE)
            shown.click(OK)
            self.assertTrue(shown.gone())
        with self.show() as shown:
            email = shown.control(EMAIL)
            assert email is not None
            self.assertTrue(shown.is_checked(PARTICIPATE))
            self.assertEqual(email.text, "user@example.com")
            self.assertTrue(shown.is_checked(SILENCE))
            shown.close()

    def test_the_hidden_button_asks_to_be_reminded_and_touches_nothing_else(self) -> None:
        self.write_settings(b"PeltoState=2", b"Email=old@example.com", b"ShowMessage=0")
        with self.show() as shown:
            shown.click(PARTICIPATE)
            shown.type_email("new@example.com")
            shown.click(SILENCE)
            shown.command(REMIND_LATER)
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "3")
        self.assertEqual(self.answer(EMAIL_KEY), "old@example.com")
        self.assertEqual(self.answer(SHOWS), "0")
        self.assert_shown_today()

    def assert_leaving_writes_nothing(self, settings: list[bytes], leave: str) -> None:
        self.write_settings(*settings)
        before = self.sandbox.settings()
        with self.show() as shown:
            shown.click(DECLINE)
            shown.type_email("new@example.com")
            shown.click(SILENCE)
            if leave == "close":
                shown.close()
            elif leave == "cancel":
                shown.command(2)
            else:
                key(leave)
            self.assertTrue(shown.gone())
        after = self.sandbox.settings()
        self.assert_shown_today()
        del after[SHOWN]
        self.assertEqual(after, before)

    def test_leaving_in_another_way_than_ok_writes_nothing_but_the_date(self) -> None:
        for leave in ("Escape", "close", "cancel", "alt+F4"):
            for settings in ([], [b"PeltoState=1", b"Email=old@example.com", b"ShowMessage=1"]):
                with self.subTest(leave=leave, settings=settings):
                    self.assert_leaving_writes_nothing(settings, leave)

    def test_the_sample_translation_shows_its_own_texts(self) -> None:
        with dialog.program_copy(
            ("sample_language.dll", "LangExt.dll"), ("localized_dialog.dll", "Texts.dll")
        ) as program:
            with self.show(program) as shown:
                name = shown.window()["text"]
                texts = {control.number: control.text for control in shown.controls()}
                left, top = shown.origin()
                time.sleep(0.5)
                panel = Screenshot((left, top, 300, 445)).pixels
                shown.click(PARTICIPATE)
                shown.click(OK)
                self.assertTrue(shown.gone())
        self.assertEqual(name, "Helfen Sie mit, das Programm besser zu machen")
        self.assertEqual(texts[OK], "Fertig")
        self.assertEqual(texts[DECLINE], "Nein, danke.")
        self.assertEqual(texts[REMIND_LATER], "Später erinnern")
        self.assertEqual(texts[PRIVACY_POLICY], "Datenschutz")
        self.assertEqual(self.answer(STATE), "1")
        self.assertTrue(panel == PICTURE.part((0, 0, 300, 445)),
                        "the program's own picture stands in for the missing one")

    def test_a_template_without_controls_counts_as_a_refusal(self) -> None:
        self.write_settings(b"PeltoState=1", b"Email=old@example.com", b"ShowMessage=0")
        with dialog.program_copy(
            ("localizer.dll", "LangExt.dll"), ("bare_dialog.dll", "Texts.dll")
        ) as program:
            with self.show(program) as shown:
                self.assertEqual([control.number for control in shown.controls()], [OK])
                shown.click(OK)
                self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "2")
        self.assertEqual(self.answer(EMAIL_KEY), "")
        self.assertEqual(self.answer(SHOWS), "1")


class Keyboard(DialogTest):
    """A user who has no mouse."""

    def test_ok_has_the_focus_first_and_tab_goes_round(self) -> None:
        with self.show() as shown:
            order = [shown.focus()]
            for _ in range(4):
                key("Tab")
                order.append(shown.focus())
            self.assertEqual(order, [OK, DECLINE, EMAIL, SILENCE, OK])
            key("shift+Tab")
            self.assertEqual(shown.focus(), SILENCE)
            key("Escape")
            self.assertTrue(shown.gone())

    def test_the_arrow_keys_choose_between_yes_and_no(self) -> None:
        with self.show() as shown:
            key("Tab")
            for name, chosen in (("Up", PARTICIPATE), ("Up", DECLINE), ("Down", PARTICIPATE),
                                 ("Left", DECLINE), ("Right", PARTICIPATE)):
                with self.subTest(name=name):
                    key(name)
                    self.assertEqual(shown.focus(), chosen)
                    self.assertTrue(shown.is_checked(chosen))
            key("Return")
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "1")

    def test_space_checks_the_box_and_presses_ok(self) -> None:
        with self.show() as shown:
            key("shift+Tab", "space")
            self.assertTrue(shown.is_checked(SILENCE))
            key("Tab", "space")
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(SHOWS), "0")

    def test_an_address_is_typed_and_enter_confirms_from_its_field(self) -> None:
        with self.show() as shown:
            key("Tab", "Up", "Tab")
            input_("type", "--delay", 30, "user@example.com")
            time.sleep(0.2)
            key("Return")
            self.assertTrue(shown.gone())
        self.assertEqual(self.answer(STATE), "1")
        self.assertEqual(self.answer(EMAIL_KEY), "user@example.com")

    def test_enter_confirms_from_the_choice_and_from_the_box(self) -> None:
        for tabs in (1, 3):
            with self.subTest(tabs=tabs), self.show() as shown:
                key(*["Tab"] * tabs, "Return")
                self.assertTrue(shown.gone())


class Mouse(DialogTest):
    """A user who has a mouse."""

    def test_everything_can_be_clicked(self) -> None:
        with self.show() as shown:
            for number in (PARTICIPATE, EMAIL, SILENCE, OK):
                left, top, _, height = shown.place(number)
                if number == EMAIL:
                    self.assertTrue(shown.is_checked(PARTICIPATE))
                click_at(left + 6, top + min(8, height // 2))
                if number == EMAIL:
                    input_("type", "--delay", 30, "user@example.com")
                    time.sleep(0.2)
            self.assertTrue(shown.gone())
        self.assertEqual(
            (self.answer(STATE), self.answer(EMAIL_KEY), self.answer(SHOWS)),
            ("1", "user@example.com", "0"),
        )

    def test_the_whole_surface_drags_the_window(self) -> None:
        with self.show() as shown:
            left, top, _, _ = shown.window()["area"]
            # The picture, and a text that is no link.
            for start in ((100, 100), (500, 60)):
                with self.subTest(start=start):
                    left, top, _, _ = shown.window()["area"]
                    input_("mousemove", left + start[0], top + start[1], "mousedown", 1)
                    time.sleep(0.2)
                    for step in (10, 20, 30, 40):
                        input_("mousemove", left + start[0] + step, top + start[1] + step // 2)
                        time.sleep(0.05)
                    input_("mouseup", 1)
                    time.sleep(0.3)
                    moved = shown.window()["area"]
                    self.assertEqual((moved[0] - left, moved[1] - top), (40, 20))
            shown.close()

    def test_every_point_is_a_caption(self) -> None:
        with self.show() as shown:
            left, top, width, height = shown.window()["area"]
            for x, y in ((0, 0), (width - 1, height - 1), (width // 2, height // 2), (-5000, 5000)):
                self.assertEqual(shown.hit(left + x, top + y), HTCAPTION)
            shown.close()

    def test_a_click_on_the_links_text_opens_the_address(self) -> None:
        with dialog.link_handler("https") as opened, self.show() as shown:
            left, top, _, height = shown.place(PRIVACY_POLICY)
            time.sleep(0.3)
            click_at(left + 20, top + height // 2)
            self.assert_opened(opened, [ADDRESS])
            self.assertTrue(shown.is_running())
            click_at(left + 1, top + 1)
            self.assert_opened(opened, [ADDRESS, ADDRESS])
            shown.close()

    def test_the_hand_shows_on_the_links_text_only(self) -> None:
        # The localized text is shorter than its control.
        with dialog.program_copy(
            ("localizer.dll", "LangExt.dll"), ("localized_dialog.dll", "Texts.dll")
        ) as program, self.show(program) as shown:
            left, top, width, height = shown.place(PRIVACY_POLICY)
            arrow = pointer_image(left, top - 40)
            on_text = pointer_image(left + 20, top + height // 2)
            beside = pointer_image(left + width - 4, top + height // 2)
            again = pointer_image(left + 2, top + 2)
            below = pointer_image(left + 20, top + height + 4)
            shown.close()
        self.assertNotEqual(on_text, arrow)
        self.assertEqual(beside, arrow)
        self.assertEqual(again, on_text)
        self.assertEqual(below, arrow)

    def test_the_localized_modules_address_is_opened(self) -> None:
        with dialog.link_handler("https") as opened, dialog.program_copy(
            ("localizer.dll", "LangExt.dll"), ("localized_dialog.dll", "Texts.dll")
        ) as program:
            with self.show(program) as shown:
                left, top, _, height = shown.place(PRIVACY_POLICY)
                time.sleep(0.3)
                # This text is shorter than its control: beside it is no link.
                click_at(left + 64, top + height // 2)
                click_at(left + 20, top + height // 2)
                self.assert_opened(opened, ["https://www.quintar.example/datenschutz"])
                shown.close()

    def assert_opened(self, opened: harness.Path, addresses: list[str]) -> None:
        """The handler has opened these addresses, and no more come."""
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            if opened.exists() and len(opened.read_text().splitlines()) >= len(addresses):
                break
            time.sleep(0.1)
        time.sleep(0.5)
        self.assertTrue(opened.exists(), "nothing was opened")
        self.assertEqual(opened.read_text(encoding="utf-8").splitlines(), addresses)


class Reminder(DialogTest):
    """The dialog that comes up by itself."""

    def test_it_waits_50_seconds_fades_in_and_dates_the_showing(self) -> None:
        self.write_settings(b"PeltoState=2", b"LastDlgOpenDate=2020-01-01T00:00:00Z")
        begin = time.monotonic()
        with Dialog(
            self.driver, "duty", "http://127.0.0.1:9/", windows_path(self.sandbox.data), "Studio",
            windows_path(harness.PROGRAM), appears=60_000, focus=False,
        ) as shown:
            waited = time.monotonic() - begin
            opacities = shown.opacities(1000)
            self.assertEqual(self.answer(SHOWN), "2020-01-01T00:00:00Z")
            shown.click(PARTICIPATE)
            shown.click(OK)
            self.assertTrue(shown.gone())
        self.assertGreaterEqual(waited, 50)
        self.assertLess(waited, 58)
        self.assertEqual(self.answer(STATE), "1")
        self.assert_shown_today()
        self.assertFalse(self.sandbox.report_path.read_bytes(), "nothing is sent or counted yet")
        # A look takes longer than a step now and then, so that some are not seen; the first may be
        # the full opacity at which the window comes up.
        steps = opacities[1:] if opacities[0] == 245 else opacities
        self.assertEqual(steps[-1], 245)
        self.assertEqual(steps, sorted(set(steps)))
        self.assertLessEqual(set(steps), set(range(25, 250, 5)))
        self.assertGreater(len(steps), 30)

    def test_other_timers_change_nothing(self) -> None:
        with self.show() as shown:
            shown.timer(1)
            shown.timer(100)
            self.assertEqual(shown.opacities(200), [245])
            shown.close()


del DialogTest
