#!/usr/bin/env python3
"""Writes the seed inputs of the fuzzers to fuzz/corpus/<property>/.

Deterministic; run it after a change and commit what it wrote. Files that it does not name are left
alone.
"""

import pathlib

CORPUS = pathlib.Path(__file__).resolve().parent / "corpus"

FIRST_VERSION_WITH_STATE = 4
FIRST_VERSION_WITH_ROLE = 8
FIRST_VERSION_WITH_PLATFORM = 9
IN_ROUND = 3
NO_TEAMS = 0x80


def u8(value):
    return value.to_bytes(1, "big")


def u16(value):
    return value.to_bytes(2, "big")


def u32(value):
    return value.to_bytes(4, "big")


def u64(value):
    return value.to_bytes(8, "big")


def text(value):
    encoded = value if isinstance(value, bytes) else value.encode()
    return u8(len(encoded)) + encoded


def player(version, number, name="Player", tag="TAG"):
    wide = version >= FIRST_VERSION_WITH_ROLE
    return (
        u64(0x1000 + number)
        + text(name)
        + text(tag)
        + (u16(300 + number) if wide else u8(30 + number))
        + u32(10000 * number)
        + u16(number)
        + u16(2 * number)
        + u8(number % 8)
        + (u8(number % 3) if wide else b"")
    )


def response(version, mode, section, teams=(1, 1), state=IN_ROUND, current_map="MP_Harbour", players=None):
    """A query response. `teams` are the teams' player counts."""
    has_state = version >= FIRST_VERSION_WITH_STATE
    parts = [u8(version)]
    if has_state:
        parts.append(u8(state))
    if version >= FIRST_VERSION_WITH_PLATFORM:
        parts += [u8(2), u64(0x0102030405060708), u64(0x1112131415161718)]
    parts += [u64(0x2122232425262728), text(mode), u8(4), u8(len(section)), section, text(current_map)]
    if has_state and state == IN_ROUND:
        parts += [u32(1200), u32(100)]
    parts += [u8(64), u8(5), u8(len(teams) - 1 if teams else NO_TEAMS)]
    parts += [u8(count) for count in teams]
    parts += [u8(6 + team) for team in range(1, len(teams))]
    if players is None:
        players = [player(version, number) for number in range(sum(teams))]
    return b"".join(parts + players)


SECTIONS = {
    "none": ("Frontier0", b""),
    "frontier": ("Frontier0", u8(1) + u16(258) + u16(400) + u8(2) + u16(255) + u16(400)),
    "breach": ("BreachLarge0", u8(1) + u8(2) + u16(75) + u16(100) + u8(2) + u8(4)),
    "killrace": ("KillRace0", u8(1) + u16(20) + u16(100) + u8(2) + u16(31) + u16(100)),
    "arms_ladder": ("ArmsLadder0", u8(20) + u8(2) + u64(0x1000) + u8(7) + u64(0x1001) + u8(9)),
    "seize_the_banner": ("SeizeTheBanner0", u8(1) + u16(1) + u16(3) + u16(1200) + u8(2) + u16(2) + u16(3) + u16(1200)),
    "vessel_strike": ("VesselStrike0", u8(1) + u8(1) + u16(900) + u8(2) + u8(2) + u16(800)),
    "unknown": ("Chess", b"\x01\x02\x03"),
}

MODE_NAMES = (
    "Foothold", "ArmorControl", "SkyControl", "Salvager", "Demolition", "Linkline", "Lastcrew",
    "Killrace", "frontier", "VesselStrikeFrontier",
)  # fmt: skip


def query_responses():
    for version in range(3, 11):
        for name, (mode, section) in SECTIONS.items():
            yield f"version_{version:02}_{name}", response(version, mode, section)
    for mode in MODE_NAMES:
        yield f"mode_{mode}", response(10, mode, u8(1) + u16(2) + u16(3))
    frontier = SECTIONS["frontier"][1]
    whole = response(10, "Frontier0", frontier)
    yield "empty", b""
    yield "version_02", u8(2) + whole[1:]
    yield "version_11", u8(11) + whole[1:]
    yield "not_in_round", response(10, "Frontier0", frontier, state=1)
    yield "no_teams", response(10, "Frontier0", frontier, teams=())
    yield "one_empty_team", response(10, "Frontier0", frontier, teams=(0,))
    yield "four_teams", response(10, "Frontier0", frontier, teams=(1, 0, 2, 1))
    yield "many_teams", response(10, "Frontier0", b"", teams=(0,) * 128)
    yield "64_players", response(10, "Frontier0", frontier, teams=(32, 32))
    yield "same_team_twice", response(10, "Frontier0", frontier[:5] + u8(1) + u16(9) + u16(9))
    # Seven bytes hold one entry; the other two become the map's name.
    yield "section_with_rest", response(10, "Frontier0", frontier[:5], current_map="").replace(
        u8(5) + frontier[:5] + u8(0), u8(7) + frontier[:5] + text("M")
    )
    yield "short_breach_length", response(10, "Breach0", u8(1)) + bytes(16)
    yield "long_ladder_count", response(10, "ArmsLadder0", u8(20) + u8(255)) + bytes(64)
    yield "cut_in_header", whole[:20]
    yield "cut_in_section", whole[:40]
    yield "cut_in_player", whole[:-9]
    yield "bytes_behind", whole + b"more"
    yield "texts_with_shape", response(
        10,
        'Frontier"{\\',
        frontier,
        current_map="\n  }\n}\n",
        teams=(1,),
        players=[player(10, 1, name='"}\n        },\n', tag="{")],
    )
    yield "texts_with_zero_and_utf8", response(
        10,
        "Frontier",
        frontier,
        current_map=b"ab\0cd",
        teams=(1,),
        players=[player(10, 1, name="Zo\u00eb \U0001f600", tag=b"\xff\xc3")],
    )
    yield "longest_texts", response(
        10, "Frontier" + "x" * 247, frontier, teams=(1,), players=[player(10, 1, "n" * 255, "t" * 255)]
    )


def frame(name, args, total=None):
    size = len(name) + len(args) + 7 if total is None else total
    return (
        b"KE"
        + size.to_bytes(2, "little")
        + u8(len(name))
        + name
        + len(args).to_bytes(2, "little")
        + args
    )


def frames():
    seed = u8(7)  # of the lengths of the pieces
    say = frame(b"Say", b"hi you")
    yield "empty", b""
    yield "one", seed + frame(b"X", b"")
    yield "three", seed + say + frame(b"X", b"") + frame(b"State", b"a  b c d e f g h i")
    yield "partial", seed + say + say[:-1]
    yield "four_bytes", seed + say[:4]
    yield "no_magic", seed + b"KF" + say[2:]
    yield "no_magic_behind", seed + say + b"xyzzy" + say
    yield "longest_name", seed + frame(b"n" * 255, b"a")
    yield "long_arguments", seed + frame(b"n", b"a" * 2000)
    yield "empty_name", seed + frame(b"", b"a b")
    yield "total_too_small", seed + frame(b"Say", b"hi you", total=0) + say
    yield "total_too_large", seed + frame(b"Say", b"hi you", total=40) + say + say
    yield "arguments_beyond_total", seed + frame(b"Say", b"", total=10)[:-2] + b"\xff\xff" + say
    yield "name_beyond_total", seed + b"KE\x08\x00\xffX\x00\x00" + say


def net_messages():
    """Steps of writing, and (by the same bytes) a message and steps of reading."""
    yield "empty", b""
    yield "number_32", b"\x00\x01\x02\x03\x04"
    yield "number_64", b"\x01\x01\x02\x03\x04\x05\x06\x07\x08"
    yield "blocks", b"\x02\x05\xaa\x03\x01\x00\xbb"
    yield "block_to_the_end", b"\x03\xff\xff\xcc\x02\x01\xdd\x00\x00\x00\x00\x01"
    yield "number_over_the_end", b"\x03\xff\xfb\xcc\x00\x01\x02\x03\x04\x01\x01\x02\x03\x04\x05\x06\x07\x08"
    yield "read_numbers", u8(15) + bytes(range(1, 16)) + b"\x00\x01\x02\x03"
    yield "read_past_the_end", u8(3) + b"\x01\x02\x03" + b"\x03\x02\x01\x00\x00"
    yield "read_string", u8(6) + b"\x05ab\x00cd" + b"\x05\x00"
    yield "read_short_string", u8(4) + b"\x05abc" + b"\x05\x05\x05"
    yield "read_block", u8(4) + b"abcd" + b"\x04\x03\x04\x02\x04\x01"


def texts():
    def seed(delimiters, value):
        return u8(len(delimiters)) + delimiters + value

    yield "empty", b""
    yield "words", seed(b" ", b"a  b c")
    yield "nine_words", seed(b" ", b" 1 2 3 4 5 6 7 8 9 ")
    yield "commas", seed(b",", b"a,,b")
    yield "delimiters_alone", seed(b" ,", b" , ,")
    yield "no_delimiters", seed(b"", b"one word")
    yield "utf8", seed(b" ", "Zo\u00eb \u20ac \U0001f600".encode())
    yield "invalid_utf8", seed(b" ", b"\xff \xc3 \xe2\x82 \xf0\x9f\x98 \xc0\x80 \xed\xa0\x80 \xf4\x90\x80\x80 \x80")
    yield "zero_inside", seed(b" ", b"before\0behind")
    yield "addresses", seed(b"|", u32(23) + b"1.2.3.4" + u32(40) + b"1.2.3.5" + u32(0xFFFFFFFF) + b'"quote"')


def server_texts():
    """Players whose names are put together from raw bytes and from the property's imitations."""
    imitations = 14

    def raw(content):
        return u8(imitations + len(content)) + content

    def pieces(*parts):
        return u8(len(parts)) + b"".join(u8(part) if isinstance(part, int) else raw(part) for part in parts)

    def server(names, mode=b"", tickets=0):
        players = b"".join(u8(1) + name + pieces(b"TAG") + u8(9) for name in names)
        return (mode or pieces(b"Frontier")) + pieces(b"Harbour") + u8(tickets) + u8(1) + u8(len(names)) + players

    yield "empty", b""
    yield "honest", server([pieces(b"Aldo"), pieces(b"Bryn \"the Rock\"")], tickets=5)
    yield "two_teams", pieces(b"x") + pieces(b"y") + u8(0) + u8(2) + u8(0) + u8(0)
    yield "line_end", server([pieces(b"a", 8, b"b"), pieces(b"Bryn")])
    yield "another_tag", server([pieces(b"a", 0, b"b")])
    yield "another_player", server([pieces(b"a", 0, b"b", 1, 2, b"c"), pieces(b"Bryn")])
    yield "half_a_player", server([pieces(b"a", 0, b"b", 1), pieces(b"c", 2, b"d")])
    yield "the_end", server([pieces(b"a", 0, 1, 3, 5)])
    yield "mode_becomes_map", server([pieces(b"Aldo")], mode=pieces(b"a", 6, b"b"))
    yield "invalid_utf8", server([pieces(b"\xff\xc0\x80", 8), pieces(b"\xf0\x9f\x98\x80")])


GENERATORS = {
    "query_response": query_responses,
    "frame": frames,
    "net_message": net_messages,
    "text": texts,
    "server_texts": server_texts,
}


def main():
    for folder, generator in GENERATORS.items():
        (CORPUS / folder).mkdir(parents=True, exist_ok=True)
        for name, content in generator():
            (CORPUS / folder / name).write_bytes(content)


if __name__ == "__main__":
    main()
