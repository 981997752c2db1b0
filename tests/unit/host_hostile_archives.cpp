// Archives that mean harm, a kind a row: each ends soon, leaves everything outside of the work folder as it
// was, makes nothing in it but files, folders and links that stay inside, and its outcome is told.

#include "host/odb/JobUnpacker.h"
#include "tests/support/FolderTree.h"
#include "tests/support/RefusedOpenat2.h"
#include "tests/support/TestFiles.h"
#include "tests/support/TestProgram.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <cstdio>
#include <vector>

using namespace KOZAV::Host;
using namespace KOZAV::Test;

namespace {

constexpr qint64 timeLimitMs = 15000;

/// What the rows' scripts begin with. A is the archive to write, OUT a folder outside of the work folder.
const char* const scriptHead = R"(
import bz2, gzip, io, lzma, struct, sys, tarfile, zipfile, zlib
A, OUT = sys.argv[1:3]
members = io.BytesIO()
tar = tarfile.open(fileobj=members, mode='w', format=tarfile.GNU_FORMAT)

def add(name, kind=tarfile.REGTYPE, link='', data=b'data', mode=0o644, pax=None):
    i = tarfile.TarInfo(name)
    i.type, i.linkname, i.mode = kind, link, mode
    i.size = len(data) if kind == tarfile.REGTYPE else 0
    if pax:
        tar.format, i.pax_headers = tarfile.PAX_FORMAT, pax
    tar.addfile(i, io.BytesIO(data))

def head(name, size=b'00000000004\0', kind=b'0', link=b'', rest=b'ustar\00000'):
    h = bytearray(512)
    h[0:len(name)] = name
    h[100:108], h[108:116], h[116:124] = b'0000644\0', b'0000000\0', b'0000000\0'
    h[124:136], h[136:148], h[148:156] = size, b'00000000000\0', b' ' * 8
    h[156:157], h[157:157 + len(link)], h[257:257 + len(rest)] = kind, link, rest
    h[148:156] = b'%06o\0 ' % sum(h)
    return bytes(h)

def octal(n): return b'%011o\0' % n
def binary(n): return (n | (1 << 95)).to_bytes(12, 'big')
def padded(data): return data + b'\0' * (-len(data) % 512)
END = b'\0' * 1024

def write(data):
    with open(A, 'wb') as f: f.write(data)

def tgz(data=None):
    if data is None:
        tar.close()
        data = members.getvalue()
    write(gzip.compress(data))

def local(name, data=b'data', method=0, crc=None, size=None, flags=0, packed=None):
    packed = data if packed is None else packed
    return struct.pack('<4sHHHHHIIIHH', b'PK\3\4', 45, flags, method, 0, 0,
                       zlib.crc32(data) if crc is None else crc, len(packed),
                       len(data) if size is None else size, len(name), 0) + name + packed

def central(name, offset, data=b'data', method=0, size=None, packed=None, attributes=0o100644 << 16, extra=b''):
    packed = data if packed is None else packed
    return struct.pack('<4sHHHHHHIIIHHHHHII', b'PK\1\2', 0x031e, 45, 0, method, 0, 0, zlib.crc32(data),
                       len(packed), len(data) if size is None else size, len(name), len(extra), 0, 0, 0,
                       attributes, offset) + name + extra

def directory(entries, offset):
    whole = b''.join(entries)
    return whole + struct.pack('<4sHHHHIIH', b'PK\5\6', 0, 0, len(entries), len(entries), len(whole), offset, 0)

def zipped(name, data=b'data', attributes=0o100644 << 16, central_name=None, **other):
    body = local(name, data, **other)
    write(body + directory([central(central_name or name, 0, data, attributes=attributes)], len(body)))
)";

/// Runs each file of a folder, and what the rows' scripts begin with before it; makes archives of their
/// names.
const char* const runner = R"(
import os, sys
head, scripts, archives, outside = sys.argv[1:5]
for name in os.listdir(scripts):
    sys.argv = ['row', os.path.join(archives, name), outside]
    exec(head + open(os.path.join(scripts, name)).read(), {})
)";

UnpackRequest requestFor(const QTemporaryDir& folder, const QString& archive)
{
    UnpackRequest request;
    request.archive = archive;
    request.folder = folder.filePath(QStringLiteral("work/job"));
    request.limits.entries = 2000;
    request.limits.totalBytes = 1024LL * 1024 * 1024;
    request.limits.ratioFromBytes = 8LL * 1024 * 1024;
    return request;
}

/// Everything in a folder but for what lies in the work folder: type, mode, length and, of a link, target.
QStringList outsideOfWork(const QString& folder, const QString& work)
{
    QStringList all;
    QDirIterator each(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                      QDirIterator::Subdirectories);
    while (each.hasNext()) {
        const QString path = each.next();
        struct stat status = {};
        if (path.startsWith(work) || ::lstat(QFile::encodeName(path).constData(), &status) != 0)
            continue;
        all << QStringLiteral("%1 %2 %3 %4")
                   .arg(path, QString::number(status.st_mode, 8), QString::number(status.st_size),
                        each.fileInfo().symLinkTarget());
    }
    all.sort();
    return all;
}

/// What an unpacked job may not hold: empty where all is as it should be.
QString strangeThingIn(const QString& folder)
{
    QDirIterator each(folder, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                      QDirIterator::Subdirectories);
    while (each.hasNext()) {
        const QString path = each.next();
        struct stat status = {};
        if (::lstat(QFile::encodeName(path).constData(), &status) != 0)
            return path + QStringLiteral(" cannot be examined");
        if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode))
            return path + QStringLiteral(" is a special file");
        if (!S_ISLNK(status.st_mode) && (status.st_mode & (S_ISUID | S_ISGID | S_ISVTX)) != 0)
            return path + QStringLiteral(" has a mode that gives rights");
        if (S_ISREG(status.st_mode) && status.st_nlink != 1)
            return path + QStringLiteral(" has another name");
        if (!S_ISLNK(status.st_mode) && (status.st_mode & S_IRUSR) == 0)
            return path + QStringLiteral(" cannot be read");
    }
    return {};
}

/// One kind of archive: the script that makes it, and what becomes of it.
struct Kind
{
    const char* name;
    const char* script;
    const char* told;    ///< part of the message that refuses it; empty where it is unpacked
    const char* warning; ///< part of the only warning; empty where there is none
};

/// A kind that is refused.
Kind refused(const char* name, const char* script, const char* told)
{
    return {name, script, told, ""};
}

/// A kind that does no harm, and is unpacked.
Kind harmless(const char* name, const char* script, const char* warning = "")
{
    return {name, script, "", warning};
}

std::vector<Kind> hostileNames()
{
    return {
        refused("parent", "add('ok/f')\nadd('a/../../evil')\ntgz()", "a/../../evil leads out"),
        refused("parent of the work folder", "add('../evil')\ntgz()", "../evil leads out"),
        refused("parent at the end", "add('a/..')\ntgz()", "a/.. leads out"),
        refused("absolute", "add(OUT + '/evil')\ntgz()", "is an absolute path"),
        refused("absolute in zip", "zipped(OUT.encode() + b'/evil')", "is an absolute path"),
        refused("parent in zip", "zipped(b'../evil')", "../evil leads out"),
        refused("drive", "add('C:/evil')\ntgz()", "is an absolute path"),
        refused("server", "add('\\\\\\\\server/evil')\ntgz()", "is an absolute path"),
        refused("no name", "tgz(head(b'') + padded(b'data') + END)", "an entry has no name"),
        refused("not UTF-8", "tgz(head(b'caf\\xe9') + padded(b'data') + END)", "is not a valid name"),
        harmless("the folder itself", "add('.', tarfile.DIRTYPE)\nadd('./f')\ntgz()"),
        harmless("new line in a name", "add('a\\nb')\ntgz()"),
        harmless("255 bytes", "add('n' * 255)\ntgz()"),
        refused("256 bytes", "add('n' * 256)\ntgz()", "File name too long"),
        refused("longer than a path may be", "add('/'.join(['n' * 200] * 60))\ntgz()",
                "is longer than a path may be"),
        refused("deep", "add('/'.join(['d'] * 70))\ntgz()", "folders deep"),
        refused("parent in a pax name", "add('f', pax={'path': '../evil'})\ntgz()", "../evil leads out"),
        refused("parent in a GNU name", "add('a/' * 60 + '../' * 61 + 'evil')\ntgz()", "leads out"),
        refused("NUL in a pax name", "add('f')\nadd('g', pax={'path': 'f\\0.txt'})\ntgz()",
                "f cannot be written"),
        refused("twice", "add('f')\nadd('f')\ntgz()", "f cannot be written"),
        harmless("twins but for case", "add('Matrix')\nadd('matrix')\ntgz()"),
        refused("file as folder", "add('f')\nadd('f/g')\ntgz()", "cannot be made"),
        refused("folder over a file", "add('f')\nadd('f', tarfile.DIRTYPE)\ntgz()", "cannot be made"),
        harmless("set-user-ID", "add('f', mode=0o6755)\nadd('d', tarfile.DIRTYPE, mode=0o7777)\ntgz()"),
        harmless("no rights", "add('d', tarfile.DIRTYPE, mode=0)\nadd('d/f', mode=0)\ntgz()"),
    };
}

std::vector<Kind> hostileLinks()
{
    return {
        refused("link out", "add('l', tarfile.SYMTYPE, '../../etc')\ntgz()",
                "l is a link that could lead out"),
        refused("absolute link", "add('l', tarfile.SYMTYPE, '/etc')\ntgz()",
                "l is a link that could lead out"),
        refused("link out in zip", "zipped(b'l', b'../../etc', attributes=0o120777 << 16)",
                "l is a link that could lead out"),
        refused("link over a link",
                "add('a/b/up', tarfile.SYMTYPE, '../..')\nadd('a/b/l', tarfile.SYMTYPE, 'up/../evil')\ntgz()",
                "a/b/l is a link that could lead out"),
        refused("link without a target", "tgz(head(b'l', octal(0), b'2') + END)", "could lead out"),
        refused("file behind a link", "add('l', tarfile.SYMTYPE, 'd')\nadd('l/f')\ntgz()",
                "the link l cannot be made"),
        refused("folder that becomes a link",
                "add('d', tarfile.DIRTYPE)\nadd('d/f')\nadd('d', tarfile.SYMTYPE, 'e')\ntgz()",
                "the link d cannot be made"),
        refused("file that becomes a link", "add('f')\nadd('f', tarfile.SYMTYPE, 'g')\ntgz()",
                "the link f cannot be made"),
        harmless("link to itself", "add('l', tarfile.SYMTYPE, 'l')\ntgz()"),
        harmless("links in a ring", "add('a', tarfile.SYMTYPE, 'b')\nadd('b', tarfile.SYMTYPE, 'a')\ntgz()"),
        refused("hard link", "add('f')\nadd('h', tarfile.LNKTYPE, 'f')\ntgz()", "h is a hard link"),
        refused("hard link out", "add('h', tarfile.LNKTYPE, OUT + '/kept')\ntgz()", "h is a hard link"),
        refused("pipe", "add('p', tarfile.FIFOTYPE)\ntgz()", "neither a file nor a folder"),
        refused("character device", "add('d', tarfile.CHRTYPE)\ntgz()", "neither a file nor a folder"),
        refused("block device", "add('d', tarfile.BLKTYPE)\ntgz()", "neither a file nor a folder"),
        harmless("pipe in zip, read as a file", "zipped(b'p', b'', attributes=0o010644 << 16)"),
        refused("socket in zip", "zipped(b's', b'', attributes=0o140644 << 16)",
                "neither a file nor a folder"),
    };
}

std::vector<Kind> hostileSizes()
{
    return {
        refused("more than there is", "tgz(head(b'f', octal(1 << 29)) + b'data')", "cannot be read"),
        refused("beyond the limit", "tgz(head(b'f', binary(1 << 60)) + END)",
                "with f the archive unpacks to more"),
        refused("negative", "tgz(head(b'f', b'\\xff' * 12) + padded(b'data') + END)", "cannot be read"),
        refused("no number", "tgz(head(b'f', b'zzzzzzzzzzz\\0') + padded(b'data') + END)",
                "it is neither zip, rar nor tgz"),
        refused("sparse beyond the limit",
                "tar.format = tarfile.PAX_FORMAT\n"
                "add('f', data=b'1\\n0\\n4\\n'.ljust(512, b'\\0') + b'data', pax={'GNU.sparse.major': '1',\n"
                "    'GNU.sparse.minor': '0', 'GNU.sparse.name': 'f', 'GNU.sparse.realsize': str(1 << "
                "50)})\ntgz()",
                "unpacks to more than"),
        refused("sparse beyond the ratio",
                "tar.format = tarfile.PAX_FORMAT\n"
                "add('f', data=b'1\\n0\\n4\\n'.ljust(512, b'\\0') + b'data', pax={'GNU.sparse.major': '1',\n"
                "    'GNU.sparse.minor': '0', 'GNU.sparse.name': 'f', 'GNU.sparse.realsize': str(1 << "
                "29)})\ntgz()",
                "times its size"),
        refused("sparse with parts at the end of the world",
                "tar.format = tarfile.PAX_FORMAT\n"
                "add('f', data=b'1\\n9223372036854775800\\n4\\n'.ljust(512, b'\\0') + b'data',\n"
                "    pax={'GNU.sparse.major': '1', 'GNU.sparse.minor': '0', 'GNU.sparse.name': 'f',\n"
                "         'GNU.sparse.realsize': '9223372036854775807'})\ntgz()",
                "unpacks to more than"),
        refused("ratio in tgz", "add('f', data=b'0' * (64 << 20))\ntgz()", "times its size"),
        refused("ratio in zip",
                "data = b'0' * (64 << 20)\n"
                "with zipfile.ZipFile(A, 'w', zipfile.ZIP_DEFLATED) as z: z.writestr('f', data)",
                "times its size"),
        refused("number", "for i in range(2001): add('f%d' % i, data=b'')\ntgz()", "more than 2000 entries"),
        refused("number of folders", "for i in range(2001): add('d%d' % i, tarfile.DIRTYPE)\ntgz()",
                "more than 2000 entries"),
        refused("zeros behind the end", "tgz(head(b'f') + padded(b'data') + END + b'\\0' * (64 << 20))",
                "times its size"),
        refused("header of a gigabyte", "tgz(head(b'x', octal(1 << 30), b'x') + b'30 path=' + b'a' * 4096)",
                "cannot be read"),
    };
}

std::vector<Kind> flawedTars()
{
    return {
        refused("cut gzip",
                "add('f', data=bytes(range(256)) * 64)\ntgz()\ndata = open(A, 'rb').read()\n"
                "write(data[:len(data) // 2])",
                "its gzip stream is cut short"),
        refused("cut in the gzip trailer", "add('f')\ntgz()\nwrite(open(A, 'rb').read()[:-3])",
                "its gzip stream is cut short"),
        refused("wrong checksum",
                "add('f')\ntgz()\nd = bytearray(open(A, 'rb').read())\nd[-8] ^= 1\nwrite(d)",
                "incorrect data check"),
        refused("wrong length", "add('f')\ntgz()\nd = bytearray(open(A, 'rb').read())\nd[-3] ^= 1\nwrite(d)",
                "incorrect length check"),
        refused("damaged stream",
                "import random\nadd('f', data=random.Random(1).randbytes(99999))\ntgz()\n"
                "d = bytearray(open(A, 'rb').read())\nd[5000:5100] = b'\\xff' * 100\nwrite(d)",
                "cannot be read"),
        refused("cut in a file", "tgz(head(b'f', octal(4096)) + b'data' * 128)", "cannot be read"),
        refused("cut in a header", "tgz(head(b'f') + padded(b'data') + head(b'g')[:200])", "cannot be read"),
        refused("wrong sum in a header",
                "h = bytearray(head(b'g'))\nh[0] ^= 1\ntgz(head(b'f') + padded(b'data') + bytes(h) + END)",
                "cannot be read"),
        harmless("no end mark", "tgz(head(b'f') + padded(b'data'))", "has no end mark"),
        harmless("half an end mark", "tgz(head(b'f') + padded(b'data') + bytes(512))", "has no end mark"),
        harmless("bytes behind the gzip", "add('f')\ntgz()\nopen(A, 'ab').write(b'more of it')",
                 "behind the end of the gzip stream"),
        harmless("zeros behind the gzip", "add('f')\ntgz()\nopen(A, 'ab').write(bytes(5000))"),
        harmless("two gzip streams", "add('f')\ntar.close()\nd = members.getvalue()\n"
                                     "write(gzip.compress(d[:700]) + gzip.compress(d[700:]))"),
        harmless("entries behind the end mark",
                 "tgz(head(b'f') + padded(b'data') + END + head(b'../evil') + END)"),
        refused("unknown kind", "tgz(head(b'../evil', kind=b'Z') + padded(b'data') + END)", "leads out"),
    };
}

std::vector<Kind> flawedZips()
{
    return {
        refused("wrong checksum in zip", "zipped(b'f', crc=1)", "cannot be read"),
        refused("says less than it holds",
                "c = zlib.compressobj(9, zlib.DEFLATED, -15)\np = c.compress(b'0' * 4096) + c.flush()\n"
                "b = local(b'f', b'0' * 4096, 8, size=5, packed=p)\n"
                "write(b + directory([central(b'f', 0, b'0' * 4096, 8, size=5, packed=p)], len(b)))",
                "cannot be read"),
        refused("zip64 that lies",
                "b = local(b'f')\ne = struct.pack('<HHQ', 1, 8, 1 << 62)\n"
                "write(b + directory([central(b'f', 0, size=0xffffffff, extra=e)], len(b)))",
                "Inconsistent uncompressed size"),
        harmless(
            "entries in one place",
            "c = zlib.compressobj(9, zlib.DEFLATED, -15)\nd = b'0' * (1 << 20)\n"
            "p = c.compress(d) + c.flush()\nb = local(b'f', d, 8, packed=p)\n"
            "write(b + directory([central(b'f%d' % i, 0, d, 8, packed=p) for i in range(1500)], len(b)))"),
        refused("entries within entries",
                "d, body, entries = bytes(1 << 20), b'', []\n"
                "tail = local(b'f0', d)\nplaces = [(b'f0', len(tail), d)]\n"
                "for i in range(1, 300):\n"
                "    n, inner = b'f%d' % i, tail\n"
                "    tail = local(n, inner)\n"
                "    places.append((n, len(tail), inner))\n"
                "write(tail + directory([central(n, len(tail) - at, inner) for n, at, inner in places], "
                "len(tail)))",
                "times its size"),
        harmless("other name in the directory", "zipped(b'f', central_name=b'../evil')"),
        refused("other name in the entry", "zipped(b'../evil', central_name=b'f')", "../evil leads out"),
        refused("encrypted", "zipped(b'f', b'x' * 16, flags=1)", "cannot be read"),
        refused("cut zip", "zipped(b'f', b'data' * 999)\nwrite(open(A, 'rb').read()[:2000])",
                "cannot be read"),
        harmless("bytes behind the zip", "zipped(b'f')\nopen(A, 'ab').write(b'more')"),
        refused("unknown method", "zipped(b'f', method=77)", "cannot be read"),
        refused("offset beyond the file",
                "b = local(b'f')\nwrite(b + directory([central(b'f', 99999)], len(b)))", "cannot be read"),
        harmless("directory beyond the file",
                 "b = local(b'f')\nwrite(b + directory([central(b'f', 0)], 1 << 30))"),
        refused("backslashes in zip", "zipped(b'..\\\\..\\\\evil')", "leads out"),
        refused("junk behind the mark of a rar", "write(b'Rar!\\x1a\\x07\\0' + b'junk' * 999)",
                "cannot be read"),
        refused("junk behind the mark of a rar 5", "write(b'Rar!\\x1a\\x07\\1\\0' + b'junk' * 999)",
                "cannot be read"),
    };
}

std::vector<Kind> otherFormatKinds()
{
    return {
        refused("nothing", "write(b'')", ""),
        refused("text", "write(b'this is no archive\\n' * 99)", ""),
        refused("tar", "add('f')\ntar.close()\nwrite(members.getvalue())", ""),
        refused("7z", "write(b'7z\\xbc\\xaf\\x27\\x1c' + bytes(26))", ""),
        refused("cpio", "write(b'070707' * 12 + b'070701' + b'0' * 104)", ""),
        refused("cpio, binary", "write(b'\\xc7\\x71' + bytes(200))", ""),
        refused("iso", "write(bytes(32768) + b'\\1CD001\\1' + bytes(4096))", ""),
        refused("ar",
                "write(b'!<arch>\\n' + b'f/'.ljust(16) + b'0'.ljust(32) + b'4'.ljust(10) + b'`\\ndata')", ""),
        refused("xar", "write(b'xar!' + struct.pack('>HHQQI', 28, 1, 9, 9, 1) + zlib.compress(b'<xar/>'))",
                ""),
        refused("mtree", "write(b'#mtree\\n./f type=file contents=/etc/passwd\\n')", ""),
        refused("cab", "write(b'MSCF' + bytes(100))", ""),
        refused("lha", "write(b'\\x16\\0-lh0-' + bytes(100))", ""),
        refused("warc", "write(b'WARC/1.0\\r\\nWARC-Type: resource\\r\\n\\r\\n')", ""),
        refused("uuencoded", "write(b'begin 644 f\\n$9&%T80\\n`\\nend\\n')", ""),
        refused("lrzip", "write(b'LRZI\\0\\6' + bytes(100))", ""),
        refused("lzop", "write(b'\\x89LZO\\0\\r\\n\\x1a\\n' + bytes(100))", ""),
        refused("grzip", "write(b'GRZipII\\0\\x02\\x04:)' + bytes(100))", ""),
        refused("compress", "write(b'\\x1f\\x9d\\x90' + bytes(100))", ""),
        refused("bzip2", "add('f')\ntar.close()\nwrite(bz2.compress(members.getvalue()))", ""),
        refused("xz", "add('f')\ntar.close()\nwrite(lzma.compress(members.getvalue()))", ""),
        refused("lzma", "add('f')\ntar.close()\nwrite(lzma.compress(members.getvalue(), lzma.FORMAT_ALONE))",
                ""),
        refused("zstd", "write(b'\\x28\\xb5\\x2f\\xfd' + bytes(100))", ""),
        refused("gzip within gzip", "add('f')\ntar.close()\ntgz(gzip.compress(members.getvalue()))", ""),
        refused("bzip2 within gzip", "add('f')\ntar.close()\ntgz(bz2.compress(members.getvalue()))", ""),
        refused("zip within gzip", "zipped(b'f')\ntgz(open(A, 'rb').read())", ""),
        refused("uuencoded within gzip", "tgz(b'begin 644 f\\n$9&%T80\\n`\\nend\\n')", ""),
        refused("lrzip within gzip", "tgz(b'LRZI\\0\\6' + bytes(100))", ""),
        refused("cpio within gzip", "tgz(b'070701' + b'0' * 104)", ""),
        refused("text within gzip", "tgz(b'this is no archive\\n' * 99)", ""),
        refused("nothing within gzip", "tgz(b'')", ""),
    };
}

std::vector<Kind> otherKinds()
{
    return {
        harmless("sparse", "tar.format = tarfile.PAX_FORMAT\n"
                           "add('f', data=b'2\\n100\\n4\\n5000\\n4\\n'.ljust(512, b'\\0') + b'datamore',\n"
                           "    pax={'GNU.sparse.major': '1', 'GNU.sparse.minor': '0',\n"
                           "         'GNU.sparse.name': 'f', 'GNU.sparse.realsize': '9000'})\ntgz()"),
        harmless("small zip", "zipped(b'f', b'data' * 999)"),
        harmless("small tgz", "add('f')\ntgz()"),
        harmless("many megabytes", "for i in range(40): add('f%d' % i, data=bytes(1 << 20))\ntgz()"),
    };
}

/// Unpacks an archive, leaving some bytes free, and tells how that ended.
int unpackInRole(const QStringList& arguments)
{
    UnpackRequest request;
    request.archive = arguments.at(2);
    request.folder = arguments.at(3);
    request.limits.reserveBytes = arguments.at(4).toLongLong();
    const UnpackResult result = unpackJob(request);
    std::printf("%lld bytes: %s", static_cast<long long>(result.bytes), qPrintable(result.error));
    return 0;
}

} // namespace

class HostHostileArchives : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void kinds_data();
    void kinds();
    void otherFormats_data();
    void otherFormats();
    void whatIsNoFileIsNotWaitedFor_data();
    void whatIsNoFileIsNotWaitedFor();
    void sparseFilesHaveTheirLength();
    void diskIsAskedBefore_data();
    void diskIsAskedBefore();
    void diskIsAskedWhileItFills();

private:
    void addScripts(const std::vector<Kind>& kinds) const;
    [[nodiscard]] QString archive(const QString& name) const;

    /// Of all rows: their scripts, the archives, and a folder that archives try to write to.
    QTemporaryDir m_place;
};

void HostHostileArchives::initTestCase()
{
    QVERIFY2(refuseOpenat2(), "openat2() cannot be refused in this process");
    for (const char* const name : {"scripts", "archives", "outside"})
        QVERIFY(QDir(m_place.path()).mkdir(QLatin1String(name)));
    QFile kept(m_place.filePath(QStringLiteral("outside/kept")));
    QVERIFY(kept.open(QIODevice::WriteOnly) && kept.write("kept") == 4);
    for (const auto& kinds : {hostileNames(), hostileLinks(), hostileSizes(), flawedTars(), flawedZips(),
                              otherFormatKinds(), otherKinds()})
        addScripts(kinds);
    run(QStringLiteral("python3"),
        {QStringLiteral("-c"), QString::fromLatin1(runner), QString::fromLatin1(scriptHead),
         m_place.filePath(QStringLiteral("scripts")), m_place.filePath(QStringLiteral("archives")),
         m_place.filePath(QStringLiteral("outside"))});
}

void HostHostileArchives::addScripts(const std::vector<Kind>& kinds) const
{
    for (const Kind& kind : kinds)
        writeFile(local(m_place.filePath(QStringLiteral("scripts/") + QLatin1String(kind.name))),
                  kind.script);
}

QString HostHostileArchives::archive(const QString& name) const
{
    return m_place.filePath(QStringLiteral("archives/") + name);
}

void HostHostileArchives::kinds_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("told");
    QTest::addColumn<QString>("warning");
    for (const auto& kinds : {hostileNames(), hostileLinks(), hostileSizes(), flawedTars(), flawedZips()})
        for (const Kind& kind : kinds)
            QTest::newRow(kind.name) << QString::fromLatin1(kind.name) << QString::fromLatin1(kind.told)
                                     << QString::fromLatin1(kind.warning);
}

void HostHostileArchives::kinds()
{
    QFETCH(const QString, name);
    QFETCH(const QString, told);
    QFETCH(const QString, warning);
    const QTemporaryDir folder(m_place.filePath(QStringLiteral("row-XXXXXX")));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("work")));
    const UnpackRequest request = requestFor(folder, archive(name));
    const QStringList before = outsideOfWork(m_place.path(), request.folder);

    QElapsedTimer clock;
    clock.start();
    const UnpackResult result = unpackJob(request);
    QVERIFY2(clock.elapsed() < timeLimitMs, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(outsideOfWork(m_place.path(), request.folder), before);
    QCOMPARE(strangeThingIn(request.folder), QString());
    if (told.isEmpty())
        QCOMPARE(result.error, QString());
    else
        QVERIFY2(result.error.contains(told), qPrintable(result.error));
    const QString warnings = result.warnings.join(QLatin1Char('\n'));
    QVERIFY2(warning.isEmpty() ? warnings.isEmpty() : warnings.contains(warning), qPrintable(warnings));
}

void HostHostileArchives::otherFormats_data()
{
    QTest::addColumn<QString>("name");
    for (const Kind& kind : otherFormatKinds())
        QTest::newRow(kind.name) << QString::fromLatin1(kind.name);
}

void HostHostileArchives::otherFormats()
{
    QFETCH(const QString, name);
    const QTemporaryDir folder;
    // Programs that some readers of archives start, to be found before any other.
    const QString programs = folder.filePath(QStringLiteral("programs"));
    const QString started = folder.filePath(QStringLiteral("started"));
    QVERIFY(QDir().mkpath(programs));
    for (const char* const tool : {"lrzip", "lzop", "grzip", "gzip", "bzip2", "xz", "zstd", "uudecode"}) {
        QFile program(programs + QLatin1Char('/') + QLatin1String(tool));
        QVERIFY(program.open(QIODevice::WriteOnly));
        QVERIFY(program.write("#!/bin/sh\n: > " + QFile::encodeName(started) + "\n") > 0);
        QVERIFY(program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(programs) + ':' + path);
    const UnpackResult result = unpackJob(requestFor(folder, archive(name)));
    qputenv("PATH", path);
    QVERIFY(!QFile::exists(started));
    QCOMPARE(result.error, QStringLiteral("the archive cannot be read: it is neither zip, rar nor tgz"));
    QVERIFY(QDir(folder.filePath(QStringLiteral("work/job"))).isEmpty());
}

void HostHostileArchives::whatIsNoFileIsNotWaitedFor_data()
{
    QTest::addColumn<QString>("maker");
    QTest::addColumn<QString>("told");
    QTest::newRow("pipe") << QStringLiteral("mkfifo archive") << QStringLiteral("it is not a regular file");
    QTest::newRow("link to a pipe") << QStringLiteral("mkfifo p; ln -s p archive")
                                    << QStringLiteral("it is not a regular file");
    QTest::newRow("endless device") << QStringLiteral("ln -s /dev/zero archive")
                                    << QStringLiteral("it is not a regular file");
    QTest::newRow("folder") << QStringLiteral("mkdir archive") << QStringLiteral("it is not a regular file");
    QTest::newRow("nothing") << QStringLiteral(":") << QStringLiteral("No such file");
}

void HostHostileArchives::whatIsNoFileIsNotWaitedFor()
{
    QFETCH(const QString, maker);
    QFETCH(const QString, told);
    const QTemporaryDir folder;
    run(QStringLiteral("sh"), {QStringLiteral("-c"), maker}, folder.path());
    const UnpackResult result = unpackJob(requestFor(folder, folder.filePath(QStringLiteral("archive"))));
    QVERIFY2(result.error.startsWith(QStringLiteral("the archive cannot be read: ")),
             qPrintable(result.error));
    QVERIFY2(result.error.contains(told), qPrintable(result.error));
}

void HostHostileArchives::sparseFilesHaveTheirLength()
{
    const QTemporaryDir folder;
    const UnpackResult result = unpackJob(requestFor(folder, archive(QStringLiteral("sparse"))));
    QVERIFY2(result.ok(), qPrintable(result.error));
    QFile file(folder.filePath(QStringLiteral("work/job/f")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QByteArray expected(9000, '\0');
    expected.replace(100, 4, "data").replace(5000, 4, "more");
    QCOMPARE(file.readAll(), expected);
    QCOMPARE(result.bytes, qint64(9000));
}

void HostHostileArchives::diskIsAskedBefore_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("zip") << QStringLiteral("small zip");
    QTest::newRow("tgz") << QStringLiteral("small tgz");
}

/// Nothing is written where the reserve would not be left.
void HostHostileArchives::diskIsAskedBefore()
{
    QFETCH(const QString, name);
    const QTemporaryDir folder;
    UnpackRequest request = requestFor(folder, archive(name));
    request.limits.reserveBytes = 1LL << 60;
    const UnpackResult result = unpackJob(request);
    QVERIFY2(result.error.contains(QStringLiteral("no space left on the disk")), qPrintable(result.error));
    QVERIFY2(result.error.contains(QStringLiteral("bytes needed, ")), qPrintable(result.error));
    QVERIFY(QDir(request.folder).isEmpty());
}

/// A tgz does not say what it unpacks to: it ends when the reserve is reached, and not at the last byte.
void HostHostileArchives::diskIsAskedWhileItFills()
{
    const QTemporaryDir folder;
    const QString disk = folder.filePath(QStringLiteral("disk"));
    QVERIFY(QDir().mkpath(disk));
    const ProgramEnd end =
        runRoleOnTmpfs(disk, QStringLiteral("size=24m"), QStringLiteral(":"),
                       {QStringLiteral("--unpack"), archive(QStringLiteral("many megabytes")),
                        disk + QStringLiteral("/job"), QString::number(10 << 20)});
    if (end.exitCode == cannotMount)
        QSKIP("no file system can be mounted here");
    QVERIFY2(end.output.contains("no space left on the disk"), end.output.constData());
    QVERIFY2(end.output.contains("bytes needed, "), end.output.constData());
    const qint64 written = end.output.split(' ').first().toLongLong();
    QVERIFY2(written > (8 << 20) && written < (22 << 20), end.output.constData());
}

ZAV_REGISTER_ROLE("--unpack", unpackInRole, QCoreApplication)
ZAV_REGISTER_TEST(host_hostile_archives, HostHostileArchives, QCoreApplication)

#include "host_hostile_archives.moc"
