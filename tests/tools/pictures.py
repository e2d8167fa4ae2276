"""PNG files made and read with nothing but the standard library, for the tests of the tools."""
import struct
import zlib


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def png(width, height, pixel, channels=3, bits=8, before=b"", palette=None):
    """A PNG file; pixel(x, y) gives the samples of a pixel."""
    kind = 3 if palette else {1: 0, 2: 4, 3: 2, 4: 6}[channels]
    code = ">%dH" % channels if bits == 16 else "%dB" % channels
    rows = b"".join(
        b"\0" + b"".join(struct.pack(code, *pixel(x, y)) for x in range(width))
        for y in range(height))
    header = struct.pack(">IIBBBBB", width, height, bits, kind, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + before +
            (chunk(b"PLTE", palette) if palette else b"") + chunk(b"IDAT", zlib.compress(rows)) +
            chunk(b"IEND", b""))


def chunks(data):
    """The chunks of a PNG file by name; the last one of each."""
    found, at = {}, 8
    while at < len(data):
        length, = struct.unpack_from(">I", data, at)
        found[data[at + 4:at + 8]] = data[at + 8:at + 8 + length]
        at += length + 12
    return found


def pixels(data):
    """(width, height, rows of samples) of a PNG file of 8 bits a sample, not interlaced."""
    parts = chunks(data)
    width, height, bits, kind = struct.unpack_from(">IIBB", parts[b"IHDR"])
    assert bits == 8
    count = {0: 1, 2: 3, 6: 4}[kind]
    raw, rows, above = zlib.decompress(parts[b"IDAT"]), [], bytes(width * count)
    for y in range(height):
        line = bytearray(raw[y * (width * count + 1) + 1:(y + 1) * (width * count + 1)])
        kind = raw[y * (width * count + 1)]
        for i in range(len(line)):
            left = line[i - count] if i >= count else 0
            line[i] = (line[i] + {0: 0, 1: left, 2: above[i]}[kind]) & 255
        rows.append(bytes(line))
        above = line
    return width, height, rows


def exif(orientation, big_endian=False):
    order = ">" if big_endian else "<"
    return ((b"MM" if big_endian else b"II") + struct.pack(order + "HI", 42, 8) +
            struct.pack(order + "HHHIHHI", 1, 0x0112, 3, 1, orientation, 0, 0))


def profile(space=b"RGB "):
    """As little of an ICC profile as readers accept: what compresses well is too short for them."""
    body = bytearray(i * i * 7 % 251 for i in range(400))
    body[:132] = bytes(132)
    struct.pack_into(">I", body, 0, 400)
    body[8:12] = b"\x04\x30\0\0"
    body[12:24] = b"mntr" + space + b"XYZ "
    body[36:40] = b"acsp"
    struct.pack_into(">III", body, 68, 0xF6D6, 0x10000, 0xD32D)
    struct.pack_into(">I4sII", body, 128, 1, b"desc", 144, 256)
    return bytes(body)
