#!/usr/bin/env python3
"""Writes the seed corpora under fuzz/corpus/. The committed files are its output; run it again only
to change the seeds. Binary property lists come from Python's plistlib, which writes the same
bplist00 format as the Mac and libplist."""

import datetime
import os
import plistlib
import random
import struct

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "corpus")


def write(target, name, data):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    if isinstance(data, str):
        data = data.encode("utf-8")
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


# --- SysInfo: "key: value" lines as the iPods of each family write them --------------------------

def sysinfo(board, revision, model, serial, build, extra=()):
    lines = [
        f"BoardHwName: {board}",
        f"pszSerialNumber: {serial}",
        f"ModelNumStr: {model}",
        "FirewireGuid: 0x000A2700" + serial[-8:].encode().hex().upper()[:8],
        f"HddFirmwareRev: BU023G  ",
        f"RegionCode: LL(0x0001)",
        f"PolicyFlags: 0x00000000",
        f"buildID: {build}",
        f"visibleBuildID: {build}",
        f"boardHwRev: 0x00000000 (0 0.0 0)",
        f"boardHwSwInterfaceRev: {revision}",
        f"bootLoaderImageRev: 0x00000000 (0.0 0)",
        *extra,
    ]
    return "\n".join(lines) + "\n"


write("fuzz_sysinfo", "1g2g", sysinfo("iPod P1", "0x00010000 (1.0 0)", "M8541", "U2214XXXXAB", "0x01218000 (1.2.1)"))
write("fuzz_sysinfo", "3g", sysinfo("iPod Q14", "0x00030001 (3.0 1)", "M9244", "U3318YYYYCD", "0x02318000 (2.3)"))
write("fuzz_sysinfo", "mini", sysinfo("iPod Q21", "0x00040013 (4.0 19)", "M9160", "JQ4127ZZZEF", "0x01428000 (1.4.1)"))
write("fuzz_sysinfo", "mini2g", sysinfo("iPod Q22", "0x00070002 (7.0 2)", "M9800", "JQ5201AAAGH", "0x01428000 (1.4.1)"))
write("fuzz_sysinfo", "4g", sysinfo("iPod Q27", "0x00050013 (5.0 19)", "M9282", "8K4412BBBJK", "0x03118000 (3.1.1)"))
write("fuzz_sysinfo", "photo", sysinfo("iPod M24", "0x00060000 (6.0 0)", "MA079", "YM5063CCCLM", "0x01228000 (1.2.1)",
                                       ["SupportedArtworkFormats: 1009 1015 1013"]))
write("fuzz_sysinfo", "nano", sysinfo("iPod M26", "0x000C0005 (12.0 5)", "MA005", "5U5432DDDNP", "0x01328000 (1.3)"))
# Windows line ends, tabs and blanks around keys and values, a line without a colon, a repeated key.
write("fuzz_sysinfo", "5g-crlf", sysinfo("iPod M25", "0x000B0005 (11.0 5)", "MA002", "JQ6021EEEQR",
                                         "0x01218000 (1.2.1)").replace("\n", "\r\n")
      + "\t ModelNumStr:\t MA146 \r\nno colon on this line\r\n  : \r\n")
write("fuzz_sysinfo", "shuffle", "pszSerialNumber: 4H5300FFFST\nModelNumStr: M9724\n")
write("fuzz_sysinfo", "empty-value", "BoardHwName: iPod Q14\npszSerialNumber:\n")
write("fuzz_sysinfo", "empty-key", "BoardHwName: iPod Q14\n: 0x00030001\n")
write("fuzz_sysinfo", "empty", b"")
write("fuzz_sysinfo", "utf16le-bom", b"\xff\xfe" + sysinfo("iPod Q27", "0x00050014 (5.0 20)", "M9787", "8K5101GGGUV",
                                                          "0x03118000 (3.1.1)").encode("utf-16-le"))
write("fuzz_sysinfo", "utf8-bom-nbsp", b"\xef\xbb\xbfBoardHwName:\xc2\xa0iPod\xe2\x80\x83M26\npszSerialNumber: 5U\n")
write("fuzz_sysinfo", "latin1", b"BoardHwName: iPod \xe9t\xe9\npszSerialNumber: 8K\xff\xfe\n")
rng = random.Random(7)
write("fuzz_sysinfo", "binary", bytes(rng.choice(b"\x01\x7f\x80\xff\t\n :abcZ0") for _ in range(300)))

# --- Notes: control byte, name length, name, text (see fuzz_note_paginator.cpp) -----------------

VOCABULARY = ["the", "iPod", "note", "a", "synchronised", "calendar", "of", "and", "Köln", "naïve", "日本語",
              "Ω", "🎵", "déjà-vu", "internationalisation", "to", "is", "contacts", "x", "—"]


def prose(words, seed):
    r = random.Random(seed)
    out = []
    for k in range(words):
        out.append(r.choice(VOCABULARY))
        if k % 17 == 16:
            out[-1] += "\n\n" if k % 3 else "\n"
    return " ".join(out).encode("utf-8")


def note(text, name=b"Note", unicode_limit=False):
    return bytes([1 if unicode_limit else 0, len(name)]) + name + text


def long_name_note(text, name, unicode_limit=False):
    return bytes([2 | (1 if unicode_limit else 0), len(name) >> 8, len(name) & 0xFF]) + name + text


write("fuzz_note_paginator", "short", note(b"Buy milk and a new battery for the iPod."))
write("fuzz_note_paginator", "empty-text", note(b""))
write("fuzz_note_paginator", "multi-page", note(prose(2200, 1), "Reisetagebuch Köln".encode()))
write("fuzz_note_paginator", "multi-page-unicode", note(prose(900, 2), "日本語のノート".encode(), unicode_limit=True))
write("fuzz_note_paginator", "many-spaces", note(b"a" + b" " * 5000 + b"b   c" + b" " * 3000, b"Spaces"))
write("fuzz_note_paginator", "long-word", note(b"before " + b"w" * 5000 + b" after", b"Long"))
write("fuzz_note_paginator", "word-at-limit", note(b"x" * 4096 + b" y", b"Exact"))
# Words that fit a page alone but never beside the header, title and link.
write("fuzz_note_paginator", "unplaceable", note(b"start " + b"z" * 4060 + b" end", b"Tight"))
write("fuzz_note_paginator", "unplaceable-unicode", note(b"s " + "é".encode() * 1010 + b" t", b"Tight", True))
write("fuzz_note_paginator", "newlines", note(b"line one\nline two\n\nparagraph\n" * 300, b"Lines"))
write("fuzz_note_paginator", "long-name", long_name_note(prose(400, 3), "長い名前".encode() * 300))
write("fuzz_note_paginator", "long-name-ascii", long_name_note(prose(400, 4), b"N" * 2500, True))

# --- mountinfo -----------------------------------------------------------------------------------

write("fuzz_mountinfo", "desktop", """\
22 28 0:21 / /sys rw,nosuid,nodev,noexec,relatime shared:7 - sysfs sysfs rw
23 28 0:22 / /proc rw,nosuid,nodev,noexec,relatime shared:13 - proc proc rw
28 1 259:2 / / rw,relatime shared:1 - ext4 /dev/nvme0n1p2 rw,errors=remount-ro
31 28 259:1 / /boot/efi rw,relatime shared:30 - vfat /dev/nvme0n1p1 rw,fmask=0077,dmask=0077,codepage=437,iocharset=ascii,shortname=mixed,utf8,errors=remount-ro
45 28 0:40 / /run/user/1000 rw,nosuid,nodev,relatime shared:250 - tmpfs tmpfs rw,size=1632252k,nr_inodes=408063,mode=700,uid=1000,gid=1000
301 45 0:55 / /run/user/1000/gvfs rw,nosuid,nodev,relatime shared:260 - fuse.gvfsd-fuse gvfsd-fuse rw,user_id=1000,group_id=1000
412 28 8:17 / /media/anna/ANNA\\040S\\040IPOD rw,nosuid,nodev,relatime shared:301 - vfat /dev/sdb1 rw,uid=1000,gid=1000,fmask=0022,dmask=0022,codepage=437,iocharset=iso8859-1,shortname=mixed,showexec,utf8,flush,errors=remount-ro
""")
write("fuzz_mountinfo", "network", """\
60 28 0:50 / /home/shared rw,relatime shared:40 - nfs4 fileserver:/export/home rw,vers=4.2,rsize=1048576,wsize=1048576,hard,proto=tcp
61 28 0:51 / /mnt/music rw,relatime shared:41 - cifs //nas/music rw,vers=3.1.1,cache=strict,username=anna,uid=1000
62 28 0:52 / /mnt/remote rw,nosuid,nodev,relatime shared:42 - fuse.sshfs anna@host:/home/anna rw,user_id=1000,group_id=1000
63 28 0:53 / /net rw,relatime shared:43 - autofs /etc/auto.net rw,fd=7,pgrp=1,timeout=300,minproto=5,maxproto=5,indirect
""")
write("fuzz_mountinfo", "mac-ipod", """\
70 28 8:33 / /media/anna/iPod rw,nosuid,nodev,relatime shared:55 master:3 unbindable - hfsplus /dev/sdc2 ro,umask=22,uid=1000,gid=1000,nls=utf8
71 28 8:49 /sub /media/anna/Tab\\011and\\012newline\\134 ro,relatime - vfat /dev/sdd1 rw
72 28 8:50 / /media/anna/stacked rw - vfat /dev/sde1 rw
73 28 8:51 / /media/anna/stacked rw - exfat /dev/sde2 rw
""")
write("fuzz_mountinfo", "malformed", "1 2 3\n - - -\n5 6 7:8 / /x rw -\n9 9 9:9 / /y rw - ext4\n\\\n\\04\n\n")
write("fuzz_mountinfo", "empty", b"")

# --- Property lists --------------------------------------------------------------------------------

preferences = {
    "TVRSyncSN": "JQ6021EEEQR",
    "notesUseTVRFolder": True,
    "SyncInterval": 3600,
    "LastSync": datetime.datetime(2006, 5, 4, 21, 15, 30),
    "Plugins": ["Weather", "News", "Calendars"],
    "WindowFrame": {"x": 120, "y": -40, "scale": 1.5},
    "Token": b"\x00\x01\xfe\xff",
}
info_plist = {
    "CFBundleIdentifier": "org.tivaro.plugin.weather",
    "CFBundleName": "Wetter für Köln",
    "CFBundleVersion": "1.2",
    "NSPrincipalClass": "WeatherPlugin",
    "TVRPluginOptions": [{"key": "units", "default": "metric"}, {"key": "days", "default": 3}],
}
library = {
    "Major Version": 1, "Minor Version": 1,
    "Tracks": {"1012": {"Track ID": 1012, "Name": "Träumerei", "Total Time": 171234, "Size": 4123456789,
                        "Play Date": -1, "Rating": 100, "Compilation": False}},
    "Playlists": [{"Name": "Library", "Master": True, "Playlist Items": [{"Track ID": 1012}]}],
}
for name, value in (("preferences", preferences), ("info", info_plist), ("library", library)):
    write("fuzz_plist", name + ".xml", plistlib.dumps(value, fmt=plistlib.FMT_XML))
    write("fuzz_plist", name + ".bplist", plistlib.dumps(value, fmt=plistlib.FMT_BINARY))
write("fuzz_plist", "keyed-archive.bplist",
      plistlib.dumps({"$archiver": "NSKeyedArchiver", "$top": {"root": plistlib.UID(1)},
                      "$objects": ["$null", {"NS.string": "note"}], "big": 2 ** 64 - 1, "neg": -2 ** 63},
                     fmt=plistlib.FMT_BINARY))
write("fuzz_plist", "nested.xml", plistlib.dumps([[[[{"a": [[["deep"]]]}]]]], fmt=plistlib.FMT_XML))
write("fuzz_plist", "entities.xml", '<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict>'
      '<key>a&amp;b</key><string>&lt;&#233;&#x1F3B5;&gt;</string><key>e</key><string/>'
      '<key>r</key><real>-0.5e3</real><key>d</key><date>2001-01-01T00:00:00Z</date></dict></plist>\n')
write("fuzz_plist", "truncated.bplist", plistlib.dumps(preferences, fmt=plistlib.FMT_BINARY)[:60])
# UTF-16 strings holding U+0000, as a key and as a value: libplist 2.2 asserts when they are read back.
write("fuzz_plist", "utf16-nul-string.bplist", plistlib.dumps("\u00e9\x00", fmt=plistlib.FMT_BINARY))
write("fuzz_plist", "utf16-nul-key.bplist", plistlib.dumps({"\u00e9\x00": 1}, fmt=plistlib.FMT_BINARY))

# --- RTF: what RtfWriter writes, and what word processors write ----------------------------------

WRITER_RTF = (
    "{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1 {\\fonttbl{\\f0\\fswiss\\fcharset0 Helvetica;}"
    "{\\f1\\froman\\fcharset0 Times\\'3b New;}}\n{\\colortbl;\\red0\\green0\\blue255;\\red255\\green128\\blue0;}\n"
    "\\pard\\plain\n{{\\*\\tivaroweight5}\\f0\\fs28\\b\\cf1 Notes \\{x\\} \\\\ back\\par\n}"
    "{\\f1\\fs20 K\\u246?ln \\u26085?\\u26412? \\u-10180?\\u-8267?\\line \\tab end\\par\n}"
    "{\\f0\\fs20\\cf2 Slow feed\\par\n}{plain}\n}\n")
write("fuzz_rtf", "writer", WRITER_RTF)
write("fuzz_rtf", "textedit",
      "{\\rtf1\\ansi\\ansicpg1252\\cocoartf2639\n\\cocoatextscaling0\\cocoaplatform0{\\fonttbl\\f0\\fswiss\\fcharset0 "
      "Helvetica;\\f1\\fnil Menlo-Bold;}\n{\\colortbl;\\red255\\green255\\blue255;\\red0\\green128\\blue0;}\n"
      "{\\*\\expandedcolortbl;;\\cssrgb\\c0\\c50\\c0;}\n\\paperw11900\\paperh16840\\margl1440\\margr1440\\vieww11520"
      "\\viewh8400\\viewkind0\n\\pard\\tx566\\tx1133\\pardirnatural\\partightenfactor0\n\n\\f0\\fs24 \\cf0 Hello "
      "\\f1\\b\\cf2 world\\\n\\f0\\b0\\cf0 next}")
write("fuzz_rtf", "word",
      b"{\\rtf1\\ansi\\ansicpg1252\\deff0{\\fonttbl{\\f0\\froman\\fprq2 Times New Roman{\\*\\panose 02020603050405020304}"
      b"{\\*\\falt Times};}{\\f1\\fswiss Arial;}}{\\stylesheet{\\s0 Normal;}{\\s1\\b\\fs32 heading 1;}}"
      b"{\\info{\\title Secret}{\\author A}{\\creatim\\yr2006\\mo5\\dy4}}{\\*\\generator Riched20 10.0;}"
      b"\\pard\\plain\\s0\\f0\\fs24 caf\\'e9 \\'80\\'93x\\'94 \\uc2\\u26085\\'93\\'fa\\u-10180??\\u-8267\\'3f\\'3f!"
      b"{\\uc0\\u9731}\\uc1\\u9731?\\par\r\n{\\f1\\cf0\\b\\i Bold\\b0\\i0  and \\~non\\-breaking\\_}\\sect\\page\r\n"
      b"\\trowd\\cellx1000 A\\cell B\\cell\\row raw \xe9\x80 bytes}")
write("fuzz_rtf", "skipped",
      "{\\rtf1{\\*\\unknown {nested} text}{\\pict\\pngblip\\bin4 }}}}x}{\\header H}{\\footnote F}{\\field{\\*\\fldinst "
      "HYPERLINK \"x\"}{\\fldrslt link}}\\emdash\\endash\\bullet\\lquote\\rquote\\ldblquote\\rdblquote\\emspace"
      "\\zwj\\frobnicate-12 x\\:\\|\\ }")
write("fuzz_rtf", "truncated", "{\\rtf1{\\fonttbl{\\f0 Helvetica;}}{\\f0\\fs24 kept {\\b so")
write("fuzz_rtf", "deep", "{\\rtf1 " + "{\\b x" * 250 + "}" * 250 + "}")
write("fuzz_rtf", "numbers", "{\\rtf1{\\colortbl;\\red99999999999999999999\\green-5;}\\fs-99999999999\\cf1 a"
      "\\fs99999999999 b\\u99999999999?\\u-99999999?\\uc-3\\u65?c\\bin-4 d\\bin99999999999 e}")

# --- Sync log: a property-list array of archived logs --------------------------------------------

def archived_log(rtf, when, errors, fmt=1):
    """A LogManager archive: magic "TVLG", format, then in a QDataStream (Qt 6.0 format) the starting
    date (Julian day, milliseconds since midnight, Qt::UTC as 1), the RTF text and the error count."""
    julian_day = when.toordinal() + 1721425
    ms = ((when.hour * 60 + when.minute) * 60 + when.second) * 1000 + when.microsecond // 1000
    return (struct.pack(">IH", 0x54564C47, fmt) + struct.pack(">qIb", julian_day, ms, 1)
            + struct.pack(">I", len(rtf)) + rtf + struct.pack(">i", errors))


LOG_RTF = (b"{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1 {\\fonttbl{\\f0\\fswiss\\fcharset0 Helvetica;}}\n"
           b"{\\colortbl;\\red0\\green0\\blue255;\\red255\\green0\\blue0;}\n\\pard\\plain\n"
           b"{{\\*\\tivaroweight5}\\f0\\fs28\\b\\cf1 Notes\\par\n}{\\f0\\fs20 Wrote 3 notes.\\par\n}"
           b"{\\f0\\fs20\\cf2 iPod full\\par\n}\n}\n")
SYNC = datetime.datetime(2026, 11, 21, 14, 3, 12, 345000)
one = archived_log(LOG_RTF, SYNC, 1)
write("fuzz_synclog", "one-log.plist", plistlib.dumps([one], fmt=plistlib.FMT_XML))
write("fuzz_synclog", "three-logs.plist", plistlib.dumps(
    [archived_log(b"{\\rtf1 first\\par}", SYNC - datetime.timedelta(days=2), 0), one,
     archived_log(WRITER_RTF.encode(), SYNC + datetime.timedelta(hours=1), 3)], fmt=plistlib.FMT_XML))
write("fuzz_synclog", "mixed.plist", plistlib.dumps([one, "text", 7, {"a": b"x"}, b""], fmt=plistlib.FMT_XML))
write("fuzz_synclog", "binary.bplist", plistlib.dumps([one, one], fmt=plistlib.FMT_BINARY))
write("fuzz_synclog", "dictionary.plist", plistlib.dumps({"log": one}, fmt=plistlib.FMT_XML))
write("fuzz_synclog", "archive", one)
write("fuzz_synclog", "archive-later-format", archived_log(LOG_RTF, SYNC, 0, fmt=2))
write("fuzz_synclog", "archive-truncated", one[:40])


# --- Downloaded bodies: text in the encodings a download is decoded with, and what none reads ------

write("fuzz_decode", "utf8", "<rss><title>Nachrichten für Köln – 日本</title></rss>\n")
write("fuzz_decode", "utf8-bom", b"\xef\xbb\xbf<?xml version=\"1.0\"?>\n")
write("fuzz_decode", "ascii", "<?xml version=\"1.0\" encoding=\"us-ascii\"?><feed/>\n")
write("fuzz_decode", "euc-jp", "<title>日本語のテキスト、ニュース</title>\n".encode("euc_jp"))
write("fuzz_decode", "euc-jp-jisx0212", "丂".encode("euc_jp"))
write("fuzz_decode", "latin1", "caf\u00e9 cr\u00e8me \u00ff".encode("latin-1"))
write("fuzz_decode", "truncated-utf8", "日本".encode("utf-8")[:-1])
write("fuzz_decode", "empty", b"")


# --- Web pages and feed text: markup, entities and Base64 -----------------------------------------

write("fuzz_html_filters", "page.html",
      "<!DOCTYPE html><html><head><title>T</title><style>p{}</style></head>"
      "<body class=x>A<p>B<br>C<hr>D<dl><dt>t<dd>d</dl><table><tr><td>1</td></tr></table>"
      "<!-- c --><a title=\"1 > 0\" href='x'>l&amp;l</a></body></html>\n")
write("fuzz_html_filters", "script-escapes.html",
      "<script><!-- <script src=x></script> --> y()</script>text<SCRIPT>z</SCRIPT>\n")
write("fuzz_html_filters", "two-bodies.html", "<body>a</body><body>b<img src=\"x")
write("fuzz_html_filters", "residue.html", "A\r\r< class=x>B\r<>C 1 < 2 &#x41;&eacute;")
write("fuzz_remove_entities", "numeric", "&#x41;&#66;&#X43;&#38;#65;&#-5;&#99999999999;")
write("fuzz_remove_entities", "named", "&amp;amp; &amp;lt; caf&eacute; &nbsp;%20&quote; &thetasym;")
write("fuzz_remove_entities", "markup", "<a href=\"x\">Tom's</a> > b <c")
write("fuzz_base64", "text", "TWFu TQ== TWE=\nYWJjZGVm\r\nZw==")
write("fuzz_base64", "lone-pad", "TWFu=TWFu")
write("fuzz_base64", "binary", bytes(range(256)))


# --- News feeds: RSS 0.91/2.0, RDF and Atom as sites write them, and as they break ---------------

write("fuzz_feed_parse", "rss2.xml",
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
      "<rss version=\"2.0\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
      "xmlns:content=\"http://purl.org/rss/1.0/modules/content/\"><channel>"
      "<title>News &amp; Views</title><link>http://news.example.com/</link><description>Daily</description>"
      "<image><url>http://news.example.com/logo.png</url><title>Logo</title><link>http://news.example.com/</link></image>"
      "<item><title>First &rsquo;story&rsquo;</title><link>http://news.example.com/1?a=1&amp;b=2</link>"
      "<description>&lt;p&gt;Text with &lt;a href=\"http://x.example/\"&gt;a link&lt;/a&gt;&lt;/p&gt;</description>"
      "<content:encoded><![CDATA[<p>Full <b>text</b></p>]]></content:encoded><dc:creator>Ann</dc:creator>"
      "<enclosure url=\"http://news.example.com/1.mp3\" length=\"1024\" type=\"audio/mpeg\"/>"
      "<source url=\"http://other.example/rss\" homeUrl=\"http://other.example/\">Other</source></item>"
      "<item><title>Second</title><link>http://news.example.com/2</link><description>Plain</description></item>"
      "</channel></rss>\n")
write("fuzz_feed_parse", "rss091.xml",
      "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
      "<!DOCTYPE rss PUBLIC \"-//Netscape Communications//DTD RSS 0.91//EN\" "
      "\"http://my.netscape.com/publish/formats/rss-0.91.dtd\">\n"
      "<rss version=\"0.91\"><channel><title>Caf\u00e9</title><link>http://cafe.example/</link>"
      "<item><title>Cr\u00e8me</title><link>http://cafe.example/1</link></item></channel></rss>\n".encode("latin-1"))
write("fuzz_feed_parse", "rss-prefix.xml",
      "<rss:rss xmlns:rss=\"http://purl.org/rss/2.0/\" version=\"2.0\"><rss:channel><rss:title>P</rss:title>"
      "<rss:item><rss:title>T</rss:title><rss:link>http://p.example/</rss:link></rss:item></rss:channel></rss:rss>\n")
write("fuzz_feed_parse", "rdf.xml",
      "<?xml version=\"1.0\"?>\n"
      "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\" xmlns=\"http://purl.org/rss/1.0/\">"
      "<channel rdf:about=\"http://planet.example/\"><title>Planet</title><link>http://planet.example/</link>"
      "<items><rdf:Seq><rdf:li rdf:resource=\"http://planet.example/1\"/></rdf:Seq></items></channel>"
      "<item rdf:about=\"http://planet.example/1\"><title>One</title><link>http://planet.example/1</link>"
      "<description>First &amp; only</description></item></rdf:RDF>\n")
write("fuzz_feed_parse", "rdf-entity.xml",
      "<?xml version=\"1.0\"?>\n<!DOCTYPE rdf:RDF [<!ENTITY site \"Planet Example\">]>\n"
      "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\" xmlns=\"http://my.netscape.com/rdf/simple/0.9/\">"
      "<channel><title>&site;</title></channel><item><title>&site; news</title><link>http://p.example/</link></item>"
      "</rdf:RDF>\n")
write("fuzz_feed_parse", "atom-text.xml",
      "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<feed xmlns=\"http://www.w3.org/2005/Atom\">"
      "<title type=\"text\">Blog</title><link rel=\"alternate\" href=\"http://blog.example/\"/>"
      "<author><name>Bo</name></author><entry><title>Post</title>"
      "<link rel=\"alternate\" type=\"text/html\" href=\"http://blog.example/1\"/><link rel=\"replies\" href=\"#c\"/>"
      "<id>tag:blog.example,2024:1</id><summary>Short</summary></entry></feed>\n")
write("fuzz_feed_parse", "atom-html.xml",
      "<feed xmlns=\"http://www.w3.org/2005/Atom\" version=\"1.0\"><title>B</title>"
      "<entry><title type=\"html\">A &amp;amp; B</title><link href=\"http://b.example/1\"/>"
      "<content type=\"html\">&lt;p&gt;Hello &amp;eacute;&lt;/p&gt;</content></entry>"
      "<entry><link/><summary type=\"text\"></summary></entry></feed>\n")
write("fuzz_feed_parse", "atom-xhtml.xml",
      "<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>X</title><entry><title>X1</title>"
      "<content type=\"xhtml\"><div xmlns=\"http://www.w3.org/1999/xhtml\"><p>Para <a href=\"http://x.example/\">"
      "link</a><br/>&#x2014; end</p></div></content></entry></feed>\n")
write("fuzz_feed_parse", "atom03.xml",
      "<feed version=\"0.3\" xmlns=\"http://purl.org/atom/ns#\"><title>Old</title><entry><title>E</title>"
      "<link rel=\"alternate\" type=\"text/html\" href=\"http://old.example/e\"/>"
      "<content type=\"text/html\" mode=\"escaped\">&lt;b&gt;bold&lt;/b&gt;</content></entry></feed>\n")
write("fuzz_feed_parse", "entities.xml",
      "<rss version=\"2.0\"><channel><title>&eacute;t&eacute; &mdash; &copy;</title>"
      "<item><title>&ldquo;Quoted&rdquo; &amp; &unknownentity; &#233; &#x263A;</title><link>http://e.example/</link>"
      "</item></channel></rss>\n")
write("fuzz_feed_parse", "untitled.xml",
      "<rss version=\"2.0\"><channel><title>U</title>"
      "<item><description>&lt;p&gt;&lt;b&gt;Heading&lt;/b&gt; then a body that is long enough to give a "
      "title of its own words&lt;/p&gt;&lt;a href=\"http://u.example/more\"&gt;more&lt;/a&gt;</description></item>"
      "<item><title>   </title><description></description></item><item/>"
      "<item><title>A title that is well over fifty characters long, so it moves to the description</title>"
      "</item></channel></rss>\n")
write("fuzz_feed_parse", "bare-ampersand.xml",
      "<rss version=\"2.0\"><channel><title>Tom & Jerry</title><item><title>Q&A</title>"
      "<link>http://a.example/?x=1&y=2</link><description>A &#X41; B</description></item></channel></rss>\n")
write("fuzz_feed_parse", "truncated.xml",
      "<?xml version=\"1.0\"?><rss version=\"2.0\"><channel><title>Cut</title><item><title>Whole</title>"
      "<link>http://t.example/1</link></item><item><title>Half</title><description><![CDATA[<p>cut sh")
write("fuzz_feed_parse", "no-channel.xml", "<rss version=\"2.0\"><item><title>Orphan</title></item></rss>\n")
write("fuzz_feed_parse", "comments.xml",
      "<!-- before --><?xml-stylesheet href=\"s.xsl\" type=\"text/xsl\"?><rss version=\"2.0\"><channel>"
      "<title>C<!-- in -->D</title><item><title>T<?pi x?>U</title><link>http://c.example/</link></item>"
      "</channel></rss>\n")
write("fuzz_feed_parse", "utf16.xml",
      "<?xml version=\"1.0\" encoding=\"utf-16\"?><rss version=\"2.0\"><channel><title>\u65e5\u672c</title>"
      "<item><title>\u30cb\u30e5\u30fc\u30b9</title></item></channel></rss>".encode("utf-16"))


# --- Entities the document declares, which our code expands: within their bound and just past it --

def entity_feed(length, references):
    return ("<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY e \"" + "x" * length + "\"><!ENTITY n \"&e;\">]>"
            "<rss version=\"2.0\"><channel><title>&e; header</title><item><title>Same title &e;</title>"
            "<link>http://e.example/1</link><description>" + "&e;" * references + "</description>"
            "<enclosure url=\"http://e.example/&e;.mp3\" length=\"&n;\"/></item>"
            "<item><title>Same title &e;</title><description>&n;</description></item></channel></rss>\n")


write("fuzz_feed_parse", "entities-within.xml", entity_feed(1000, 20))
write("fuzz_feed_parse", "entities-past.xml", entity_feed(4000, 17))


def entity_opml(length, references):
    return ("<?xml version=\"1.0\"?><!DOCTYPE opml [<!ENTITY e \"" + "e" * length + "\">]><opml><body>"
            "<outline text=\"Folder &e;\"><outline text=\"" + "&e;" * references + "\" type=\"rss\" "
            "xmlUrl=\"http://o.example/&e;.xml\" url=\"http://o.example/&e;.opml\"/></outline></body></opml>\n")


write("fuzz_opml", "entities-within.opml", entity_opml(1000, 20))
write("fuzz_opml", "entities-past.opml", entity_opml(4000, 17))
write("fuzz_xmltree", "entities-in-attributes.xml",
      "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY e \"" + "x" * 4000 + "\">]><r a=\"" + "&e;" * 17 + "\">"
      "<item href=\"&e;\">&e;</item></r>\n")


# --- iTunesDB: chunk trees as iTunes and libgpod lay them out, and DeviceInfo -----------------------

def itdb_chunk(tag, header_length, children=b"", length_or_count=None, fields=()):
    header = bytearray(header_length)
    header[0:4] = tag
    total = header_length + len(children) if length_or_count is None else length_or_count
    struct.pack_into("<iI", header, 4, header_length, total & 0xFFFFFFFF)
    for offset, fmt, value in fields:
        struct.pack_into(fmt, header, offset, value)
    return bytes(header) + children


def itdb_string(kind, text):
    data = text.encode("utf-16-le")
    return itdb_chunk(b"mhod", 24, struct.pack("<iiii", 1, len(data), 1, 0) + data, fields=[(12, "<i", kind)])


def itdb_bytes(kind, data):
    return itdb_chunk(b"mhod", 24, data, fields=[(12, "<i", kind)])


def itdb_track(uid, strings):
    objects = b"".join(strings)
    fields = [(12, "<i", len(strings)), (16, "<i", uid), (40, "<i", 1999), (60, "<I", 44100 << 16),
              (104, "<I", 3242810792), (112, "<q", uid * 7919), (130, "<i", 40000)]
    header = itdb_chunk(b"mhit", 156, objects, fields=fields)
    return header


def itdb_playlist(name, children, objects, items, hidden=0):
    return itdb_chunk(b"mhyp", 108, itdb_string(1, name) + b"".join(children),
                      fields=[(12, "<i", objects), (16, "<i", items), (20, "<i", hidden)])


def itdb_database(tracks, playlists, extra_sets=()):
    sets = [itdb_chunk(b"mhsd", 96, itdb_chunk(b"mhlt", 92, b"".join(tracks), len(tracks)), fields=[(12, "<i", 1)]),
            *extra_sets,
            itdb_chunk(b"mhsd", 96, itdb_chunk(b"mhlp", 92, b"".join(playlists), len(playlists)), fields=[(12, "<i", 2)])]
    return itdb_chunk(b"mhbd", 104, b"".join(sets))


ITDB_TRACKS = [
    itdb_track(1, [itdb_string(1, "Glass"), itdb_string(4, "Zoë 🎧"), itdb_string(2, ":iPod_Control:Music:F00:A.mp3")]),
    itdb_track(2, [itdb_string(1, "Talk"), itdb_string(9, "Comedy"), itdb_bytes(15, b"http://f.example/rss"),
                   itdb_bytes(16, b"http://f.example/1.mp3"), itdb_string(6, "QuickTime movie file")]),
]
position = itdb_chunk(b"mhod", 24, bytes(20), fields=[(12, "<i", 100)])
mhip = lambda uid, nested=b"": itdb_chunk(b"mhip", 76, nested, fields=[(24, "<i", uid)])
write("fuzz_itunesdb", "nested-items", itdb_database(ITDB_TRACKS, [
    itdb_playlist("iPod", [mhip(1, position), mhip(2, position)], 1, 2, hidden=1),
    itdb_playlist("Road Trip", [mhip(2, position), mhip(1, position)], 1, 2),
    itdb_playlist("Podcasts", [itdb_chunk(b"mhod", 24, bytes(40), fields=[(12, "<i", 50)])], 2, 0)]))
write("fuzz_itunesdb", "items-then-objects", itdb_database(ITDB_TRACKS, [
    itdb_playlist("Old", [mhip(1), position, mhip(2), position], 1, 2)]))
write("fuzz_itunesdb", "type3-and-unknown", itdb_database(ITDB_TRACKS, [itdb_playlist("Mix", [], 1, 0)], [
    itdb_chunk(b"mhsd", 96, itdb_chunk(b"mhlp", 92, itdb_playlist("Hidden", [], 1, 0), 1), fields=[(12, "<i", 3)]),
    itdb_chunk(b"mhsd", 96, itdb_chunk(b"mhla", 92, b"", 0), fields=[(12, "<i", 4)])]))
write("fuzz_itunesdb", "huge-counts", itdb_database(ITDB_TRACKS, [itdb_playlist("Big", [mhip(1)], 2000000000, 2000000000)]))
write("fuzz_itunesdb", "empty", b"")
libgpod_db = os.path.join(HERE, "..", "tests", "ipoddb", "data", "small", "iPod_Control", "iTunes", "iTunesDB")
with open(libgpod_db, "rb") as f:
    write("fuzz_itunesdb", "libgpod-small", f.read())

write("fuzz_deviceinfo", "name", struct.pack("<H", 3) + "POD and more".encode("utf-16-le"))
write("fuzz_deviceinfo", "count-zero", struct.pack("<H", 0) + "POD".encode("utf-16-le"))
write("fuzz_deviceinfo", "negative-count", struct.pack("<H", 0x8000) + "Zoë’s iPod 🎧".encode("utf-16-le"))
write("fuzz_deviceinfo", "odd", struct.pack("<H", 5) + b"A\x00B")
write("fuzz_deviceinfo", "libgpod-padded", struct.pack("<H", 12) + "Zoë’s iPod 🎧".encode("utf-16-le") + bytes(1510))
# --- Photo and artwork databases: chunk trees as the iPod's writers lay them out ---------------------

def chunk(tag, header_length, children=b"", fields=()):
    head = bytearray(header_length)
    head[0:4] = tag
    struct.pack_into("<II", head, 4, header_length, header_length + len(children))
    for offset, fmt, value in fields:
        struct.pack_into(fmt, head, offset, value)
    return bytes(head) + children


def string_mhod(kind, string):
    padding = (4 - len(string) % 4) % 4
    body = bytearray(16) + string + bytes(padding)
    head = bytearray(chunk(b"mhod", 24, bytes(body), [(12, "<h", kind)]))
    struct.pack_into("<i", head, 24, len(string))
    head[15] = padding
    return bytes(head)


def stored_image(name, offset, size, width, height):
    mhni = chunk(b"mhni", 0x4c, string_mhod(3, name.encode("utf-16-le")),
                 [(20, "<I", offset), (24, "<I", size), (32, "<h", height), (34, "<h", width)])
    return chunk(b"mhod", 0x18, mhni, [(12, "<h", 2)])


def photo_db(photos, albums):
    images = b"".join(chunk(b"mhii", 0x98, string_mhod(1, b"P%d" % i) + b"".join(stored_image(*s) for s in items),
                            [(20, "<q", pid)]) for i, (pid, items) in enumerate(photos))
    album_chunks = b"".join(chunk(b"mhba", 0x94, string_mhod(1, name) + b"".join(
        chunk(b"mhia", 0x28, b"", [(16, "<i", m)]) for m in members)) for name, members in albums)
    return chunk(b"mhfd", 0x84, chunk(b"mhsd", 0x60, chunk(b"mhli", 0x5c, images, [(8, "<i", len(photos))]))
                 + chunk(b"mhsd", 0x60, chunk(b"mhla", 0x5c, album_chunks, [(8, "<i", len(albums))])))


write("fuzz_photodb", "two-photos", photo_db(
    [(66, [(":Thumbs:F1015_1.ithmb", 0, 22880, 124, 88), (":Thumbs:F1036_1.ithmb", 0, 4100, 50, 39)]),
     (67, [(":Thumbs:F1019_1.ithmb", 0, 691200, 680, 480)])],
    [(b"Library", [66, 67]), (b"Vacances \xc3\xa9t\xc3\xa9", [64, 67])]))
write("fuzz_photodb", "empty-container", photo_db([(1, [])], [])
      + chunk(b"mhod", 0x18, bytes(20), [(12, "<h", 2)]))
write("fuzz_photodb", "artwork", chunk(b"mhfd", 0x84, chunk(b"mhsd", 0x60, chunk(b"mhli", 0x5c, chunk(
    b"mhii", 0x98, stored_image(":F1028_1.ithmb", 0, 20000, 100, 100), [(20, "<q", 0x72d1294bf3f0a4b1)])))
    + chunk(b"mhsd", 0x60, chunk(b"mhlf", 0x5c, chunk(b"mhif", 0x7c)))))
write("fuzz_photodb", "unknown-tag", photo_db([(5, [(":a", 0, 2520, 42, 30)])], [(b"A", [5])]) + b"mhzz\x0c\0\0\0")


# --- HTTP answer headers, as curl hands them to the downloader: one line each ----------------------

write("fuzz_http_header", "ok",
      "HTTP/1.1 200 OK\r\nContent-Type: application/rss+xml; charset=\"UTF-8\"\r\n"
      "Content-Length: 2048\r\n\r\n")
write("fuzz_http_header", "redirect",
      "HTTP/1.1 301 Moved Permanently\r\nLocation: ../other/feed.xml?x=1\r\n\r\n"
      "HTTP/2 200\r\ncontent-type: text/html\r\ncontent-encoding: gzip\r\ncontent-length: 12\r\n\r\n")
write("fuzz_http_header", "challenge",
      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 401 Unauthorized\r\n"
      "WWW-Authenticate: Basic realm=\"feeds\"\r\nContent-Length: 0\r\n\r\n"
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nX-Trailer: after the body\r\n\r\n")
