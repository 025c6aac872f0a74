"""Files that no program would write: odd_files.py "png('a.png', 60000, 60000, 1, 0, 0)"."""
import struct
import sys
import zlib


def chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))


def png(name, width, height, bits, kind, interlaced, before=b'', size=1000):  # `size` zeros
    left = size
    pack = zlib.compressobj(9)
    data = b''
    while left > 0:
        data += pack.compress(bytes(min(left, 1 << 20)))
        left -= 1 << 20
    head = struct.pack('>IIBBBBB', width, height, bits, kind, 0, 0, interlaced)
    with open(name, 'wb') as f:
        f.write(b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', head) + before)
        f.write(chunk(b'IDAT', data + pack.flush()) + chunk(b'IEND', b''))


def texts(count):  # each unpacks to 49 million bytes
    packed = zlib.compress(bytes(49000000).replace(b'\0', b'a'), 9)
    return b''.join(chunk(b'zTXt', b'%d\0\0' % i + packed) for i in range(count))


def webp(name, side):  # a lossless head alone
    bits = (side - 1) | (side - 1) << 14
    body = b'VP8L' + struct.pack('<I', 10) + b'\x2f' + struct.pack('<I', bits) + bytes(5)
    open(name, 'wb').write(b'RIFF' + struct.pack('<I', 4 + len(body)) + b'WEBP' + body)


def tiff(name, pages, width, height, tile=0, compression=1):  # gray; the first strip or tile alone has data
    out = bytearray(b'II*\0\0\0\0\0')
    link = 4
    for page in range(pages):
        data = len(out)
        out += bytes((7 * i + page) % 251 for i in range(64))
        struct.pack_into('<I', out, link, len(out))
        tags = [(256, width), (257, height), (258, 8), (259, compression), (262, 1)]
        if tile == 0:
            tags += [(273, data), (277, 1), (278, height), (279, 64)]
        else:
            tags += [(277, 1), (322, tile), (323, tile), (324, data), (325, 64)]
        out += struct.pack('<H', len(tags))
        for tag, value in tags:
            out += struct.pack('<HHII', tag, 4, 1, value)
        link = len(out)
        out += bytes(4)
    open(name, 'wb').write(out)


exec(sys.argv[1])
