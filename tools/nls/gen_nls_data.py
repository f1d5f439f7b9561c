#!/usr/bin/env python3
"""Generates the library's character-set data from the system's iconv tables.

Two outputs, both committed to the repository:

  maps   source/common/nls/nls_builtin_maps.cpp: the built-in Unicode maps of
         the single-byte character sets "ascii7", "8859-1", "roman8",
         "decMCS", "dg", "pc850" and "sco8859-1" (256 code points each,
         0xFFFF where a byte has no character).
  table  the generated part of data/orvane.nls: a character map that gives
         the spare single-byte slot 10 the Windows Latin-1 set "cp1252",
         and the locale rows of that set (below the map, which makes the
         name known); the collation sequence "latin1-dictionary"; and one
         character-set definition block for "binary8" (each byte its own
         code point), for each built-in single-byte set, for "cp1252" (also
         as "sbSpare1", the name of slot 10's set object), and for the
         multi-byte sets "s-jis" (CP932), "euc-j" (EUC-JP),
         "korean" (CP949), "big5" (CP950) and "s-chinese" (CP936).
         Everything above the marker line of the table is written by hand
         and kept as it is.

Sources: iconv's HP-ROMAN8, DEC-MCS and IBM850 tables for the single-byte
maps, the file dg-international.txt (bytes 0xA0 to 0xFF of the "dg" set), and
iconv's CP932, EUC-JP, CP949, CP950 and CP936 tables for the multi-byte sets.

A multi-byte set holds every character of one or two bytes whose encoding
survives the trip to Unicode and back unchanged, so that each character of
the set has exactly one code: where a table gives several codes for one
character, the code that iconv writes for it is the one kept.

Usage: gen_nls_data.py [--dg FILE] [maps|table|all]
"""

import argparse
import ctypes
import ctypes.util
import os
import sys
import unicodedata

ROOT = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..'))
MAPS_OUT = os.path.join(ROOT, 'source', 'common', 'nls', 'nls_builtin_maps.cpp')
TABLE = os.path.join(ROOT, 'data', 'orvane.nls')
DG_DEFAULT = os.path.join(ROOT, 'tools', 'nls', 'dg-international.txt')
MARKER = '# ---- generated below this line by tools/nls/gen_nls_data.py; do not edit by hand ----'

NO_CHAR = 0xFFFF

# Multi-byte sets: (set name, iconv name, lead bytes of two-byte characters).
MULTI_BYTE_SETS = [
    ('s-jis', 'CP932'),
    ('euc-j', 'EUC-JP'),
    ('korean', 'CP949'),
    ('big5', 'CP950'),
    ('s-chinese', 'CP936'),
]


class Iconv:
    """A converter of the C library's iconv, used one character at a time."""

    def __init__(self, to_code, from_code):
        self.libc = ctypes.CDLL(ctypes.util.find_library('c'), use_errno=True)
        self.libc.iconv_open.restype = ctypes.c_void_p
        self.libc.iconv_open.argtypes = [ctypes.c_char_p, ctypes.c_char_p]
        self.libc.iconv.restype = ctypes.c_size_t
        self.libc.iconv.argtypes = [ctypes.c_void_p, ctypes.POINTER(ctypes.c_char_p),
                                    ctypes.POINTER(ctypes.c_size_t), ctypes.POINTER(ctypes.c_char_p),
                                    ctypes.POINTER(ctypes.c_size_t)]
        self.libc.iconv_close.argtypes = [ctypes.c_void_p]
        self.cd = self.libc.iconv_open(to_code.encode(), from_code.encode())
        if self.cd in (None, ctypes.c_void_p(-1).value, 2 ** 64 - 1, 2 ** 32 - 1):
            raise SystemExit('iconv cannot convert from %s to %s' % (from_code, to_code))
        self.out = ctypes.create_string_buffer(64)

    def convert(self, data):
        """The converted bytes, or None when data is not valid and complete."""
        self.libc.iconv(self.cd, None, None, None, None)
        inbuf = ctypes.create_string_buffer(data, len(data))
        in_ptr = ctypes.c_char_p(ctypes.addressof(inbuf))
        in_left = ctypes.c_size_t(len(data))
        out_ptr = ctypes.c_char_p(ctypes.addressof(self.out))
        out_left = ctypes.c_size_t(len(self.out))
        r = self.libc.iconv(self.cd, ctypes.byref(in_ptr), ctypes.byref(in_left), ctypes.byref(out_ptr),
                            ctypes.byref(out_left))
        if r == ctypes.c_size_t(-1).value or in_left.value != 0:
            return None
        # Flush any shift state.
        r = self.libc.iconv(self.cd, None, None, ctypes.byref(out_ptr), ctypes.byref(out_left))
        if r == ctypes.c_size_t(-1).value:
            return None
        return self.out.raw[:len(self.out) - out_left.value]


def code_points(raw):
    return [int.from_bytes(raw[i:i + 4], 'little') for i in range(0, len(raw), 4)]


def single_byte_map(iconv_name):
    dec = Iconv('UTF-32LE', iconv_name)
    result = []
    for b in range(256):
        raw = dec.convert(bytes([b]))
        cps = code_points(raw) if raw is not None else []
        result.append(cps[0] if len(cps) == 1 and cps[0] <= 0xFFFF else NO_CHAR)
    return result


def read_dg(path):
    high = {}
    with open(path, encoding='ascii') as f:
        for line in f:
            line = line.split('#', 1)[0].strip()
            if not line:
                continue
            byte_text, uni_text = line.split()
            byte = int(byte_text, 16)
            uni = int(uni_text[2:], 16)
            if not 0xA0 <= byte <= 0xFF:
                raise SystemExit('%s: byte %s outside 0xA0-0xFF' % (path, byte_text))
            high[byte] = NO_CHAR if uni == 0xFFFD else uni
    if len(high) != 96:
        raise SystemExit('%s: %d bytes listed, expected 96' % (path, len(high)))
    return high


def builtin_maps(dg_path):
    """The seven built-in maps, in character-set id order 3 to 9."""
    identity = list(range(256))
    ascii7 = list(range(128)) + [NO_CHAR] * 128

    def low_and_controls(high_map):
        m = list(range(160)) + [NO_CHAR] * 96  # 0x00-0x7F and 0x80-0x9F map to themselves
        for b in range(0xA0, 0x100):
            m[b] = high_map[b]
        return m

    roman8 = low_and_controls(single_byte_map('HP-ROMAN8'))
    dec_mcs = low_and_controls(single_byte_map('DEC-MCS'))
    dg = low_and_controls(read_dg(dg_path))
    pc850 = single_byte_map('IBM850')
    pc850[0x7F] = NO_CHAR  # the set has no character at 0x7F
    return [('ascii7', ascii7), ('8859-1', identity), ('roman8', roman8), ('decMCS', dec_mcs), ('dg', dg),
            ('pc850', pc850), ('sco8859-1', identity)]


def multi_byte_entries(iconv_name):
    """(Unicode, bytes) of every character of one or two bytes that round-trips."""
    dec = Iconv('UTF-32LE', iconv_name)
    enc = Iconv(iconv_name, 'UTF-32LE')
    entries = {}

    def consider(code):
        raw = dec.convert(code)
        if raw is None:
            return False
        cps = code_points(raw)
        if len(cps) != 1 or cps[0] > 0xFFFF or 0xD800 <= cps[0] <= 0xDFFF:
            return False
        back = enc.convert(cps[0].to_bytes(4, 'little'))
        if back != code:
            return True  # a character, but not this code's own
        entries.setdefault(cps[0], code)
        return True

    singles = set()
    for b in range(256):
        if consider(bytes([b])):
            singles.add(b)
    for lead in range(0x80, 0x100):
        if lead in singles:
            continue
        for trail in range(0x100):
            consider(bytes([lead, trail]))
    return sorted(entries.items())


def hex_byte(b):
    return '0x%02x' % b


class DefinitionWriter:
    """Writes a definition as lines of at most about 100 characters."""

    def __init__(self):
        self.lines = []
        self.tokens = []
        self.width = 0

    def token(self, text):
        if self.width + len(text) + 1 > 100 and self.tokens:
            self.flush()
        self.tokens.append(text)
        self.width += len(text) + 1

    def flush(self):
        if self.tokens:
            self.lines.append(' '.join(self.tokens))
        self.tokens = []
        self.width = 0


def definition_lines(entries):
    """Definition text for sorted (Unicode, bytes) entries.

    Runs of single bytes whose Unicode values and bytes both rise by one are
    written as ranges; a range never ends at 0xFF (the definition language
    does not allow it), so 0xFF is always written on its own.
    """
    w = DefinitionWriter()
    next_unicode = None
    i = 0
    while i < len(entries):
        u, code = entries[i]
        if u != next_unicode:
            w.token('BASE 0x%04x' % u)
        if len(code) == 1:
            j = i
            while (j + 1 < len(entries) and len(entries[j + 1][1]) == 1 and entries[j + 1][0] == entries[j][0] + 1
                   and entries[j + 1][1][0] == entries[j][1][0] + 1 and entries[j + 1][1][0] < 0xFF):
                j += 1
            if j - i >= 2:
                w.token('%s - %s' % (hex_byte(code[0]), hex_byte(entries[j][1][0])))
            else:
                j = i
                w.token(hex_byte(code[0]))
            next_unicode = entries[j][0] + 1
            i = j + 1
            continue
        w.token('{%s}' % ' '.join(hex_byte(b) for b in code))
        next_unicode = u + 1
        i += 1
    w.flush()
    return w.lines


def block(name, source, entries):
    singles = sum(1 for _, c in entries if len(c) == 1)
    doubles = len(entries) - singles
    lines = ['MBCHARMAP %s' % name,
             '# %d characters (%d of one byte, %d of two) from the system table %s' % (len(entries), singles, doubles,
                                                                                        source)]
    lines += definition_lines(entries)
    lines.append('END')
    for line in lines[1:-1]:
        if 'END' in line or 'MBCHARMAP' in line:
            raise SystemExit('a definition line of %s would end its block early: %s' % (name, line))
    return lines


def charmap_block(name, slot, unicode_map, pairs):
    """A CHARMAP block: 256 Unicode values, then the extension pairs."""
    lines = ['CHARMAP %s AS %s' % (name, slot),
             '# Unicode value of each byte 0x00 to 0xFF; 0xFFFF: no character']
    for row in range(0, 256, 16):
        lines.append(' '.join('0x%04x' % v for v in unicode_map[row:row + 16]))
    lines.append('EXTCHARMAP %d' % len(pairs))
    for u, b in pairs:
        lines.append('0x%04x 0x%02x' % (u, b))
    lines.append('END')
    return lines


def latin1_dictionary_weights():
    """Weights of a Latin-1 dictionary order.

    NUL first, then control characters, then blanks, punctuation and symbols
    in code order, then digits, then letters alphabetically. Case and accents
    do not count (a, A and a-grave weigh the same); ae, eth, o-slash, sharp s
    and thorn follow a, d, o, s and t.
    """
    extra = {'\u00e6': ('a', 1), '\u00f0': ('d', 1), '\u00f8': ('o', 1), '\u00df': ('s', 1), '\u00fe': ('t', 1)}
    keys = []
    for b in range(256):
        ch = chr(b)
        lower = ch.lower() if len(ch.lower()) == 1 else ch
        if b == 0:
            key = (0, 0)
        elif b < 0x20 or 0x7F <= b < 0xA0:
            key = (1, b)
        elif '0' <= ch <= '9':
            key = (3, b)
        elif unicodedata.category(ch) in ('Lu', 'Ll') and ch != '\u00b5':
            if lower in extra:
                key = (4,) + extra[lower]
            else:
                key = (4, unicodedata.normalize('NFD', lower)[0], 0)
        else:
            key = (2, b)
        keys.append(key)
    ranks = {k: i for i, k in enumerate(sorted(set(keys)))}
    return [ranks[k] for k in keys]


def collation_block(name, weights):
    lines = ['LCCOLLATE %s' % name, '# weight of each byte 0 to 255']
    for row in range(0, 256, 16):
        lines.append(' '.join('%d' % w for w in weights[row:row + 16]))
    lines.append('END')
    return lines


def write_maps(maps):
    out = []
    out.append('// The built-in Unicode maps of the single-byte character sets, ids 3 to 9.')
    out.append('//')
    out.append('// Generated by tools/nls/gen_nls_data.py from the system\'s iconv tables (HP-ROMAN8,')
    out.append('// DEC-MCS, IBM850) and tools/nls/dg-international.txt. Do not edit by hand.')
    out.append('// 0xFFFF marks a byte without a character.')
    out.append('#include "common/nls/nls_state.h"')
    out.append('')
    out.append('namespace nls {')
    out.append('')
    out.append('// clang-format off')
    out.append('const uint16_t kBuiltinMaps[kBuiltinMapCount][256] = {')
    for name, m in maps:
        out.append('    // %s' % name)
        out.append('    {')
        for row in range(0, 256, 8):
            out.append('        ' + ' '.join('0x%04X,' % v for v in m[row:row + 8]))
        out.append('    },')
    out.append('};')
    out.append('// clang-format on')
    out.append('')
    out.append('}  // namespace nls')
    with open(MAPS_OUT, 'w', newline='\n') as f:
        f.write('\n'.join(out) + '\n')


def write_table(maps):
    with open(TABLE, encoding='ascii') as f:
        text = f.read()
    head, sep, _ = text.partition(MARKER)
    if not sep:
        raise SystemExit('%s has no marker line:\n%s' % (TABLE, MARKER))
    lines = [MARKER, '']
    cp1252 = single_byte_map('CP1252')
    # Substitutes for characters the set lacks: the lira sign becomes the
    # pound sign, combining accents become their spacing forms.
    lines += charmap_block('cp1252', 'sbSpare1', cp1252, [(0x20A4, 0xA3), (0x0300, 0x60), (0x0302, 0x5E),
                                                          (0x0303, 0x7E)])
    lines.append('')
    # Locale rows of the set: below the CHARMAP block, which makes the name
    # cp1252 known (a row above it fails with 10).
    lines += ['# The Windows Latin-1 set as a locale: sLanguage=enu-cp1252 in win.ini, or the',
              '# database name english-cp1252. Its set object is made from the definition',
              '# named sbSpare1 below, the name of slot 10.',
              'en_US:cp1252:winnt:enu-cp1252',
              'en_US:cp1252:-:english-cp1252',
              '']
    lines += collation_block('latin1-dictionary', latin1_dictionary_weights())
    lines.append('')
    # binary8: opaque bytes, each byte the code point of its own value.
    # cp1252 twice: under its own name for orvCharacterSetCreate("cp1252"),
    # and as sbSpare1, the name under which the set object of a cp1252
    # locale (slot 10) is made.
    for name, m in [('binary8', list(range(256)))] + maps + [('cp1252', cp1252), ('sbSpare1', cp1252)]:
        entries = sorted((u, bytes([b])) for b, u in enumerate(m) if u != NO_CHAR)
        entries = sorted(dict((u, c) for u, c in reversed(entries)).items())  # lowest byte per character
        lines += block(name, 'built into the library', entries)
        lines.append('')
    for name, iconv_name in MULTI_BYTE_SETS:
        entries = multi_byte_entries(iconv_name)
        lines += block(name, iconv_name, entries)
        lines.append('')
    with open(TABLE, 'w', encoding='ascii', newline='\n') as f:
        f.write(head + '\n'.join(lines))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('what', nargs='?', default='all', choices=['maps', 'table', 'all'])
    parser.add_argument('--dg', default=DG_DEFAULT, help='the dg-international.txt file')
    args = parser.parse_args()
    maps = builtin_maps(args.dg)
    if args.what in ('maps', 'all'):
        write_maps(maps)
    if args.what in ('table', 'all'):
        write_table(maps)
    return 0


if __name__ == '__main__':
    sys.exit(main())
