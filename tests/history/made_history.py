#!/usr/bin/env python3
"""Results of a fleet that was scanned once a day, as `scan` would have written them:
made_history.py DIRECTORY [HOSTS [DAYS]] writes DIRECTORY/<host>.<day>.dat. Every figure is a
function of host, directory and day, so that whoever compares can compute it again."""
import os
import sys

FIRST_DAY = 1_700_000_000_000  # milliseconds since 1970
DAY = 86_400_000
CAPACITY = 4 << 40
TOP, BELOW, OWNERS, FILES = 10, 19, 20, 100
NEW_FROM, GONE_FROM = 0.8, 0.6  # shares of all days
AGES = (7_776_000, 31_557_600)
HOSTILE = b'/data/quo"te \xff\x1b[1m <b>'

HEADER = b"""[Header]
[AgentScan]\nasJobName,asScanningCompID
[Filesystem]\nfsID,fsMountPoint,fsType,fsScanned,fsScanTime,fsCapacity,fsUsedSpace,fsFreeSpace,fsMaxFiles,fsUsedInodes
[MonDirSpec]\nmdsID,mdsPath
[CuStatDef]\nsdID,sdType,sdName,sdLargestFiles
[ResultsByFS]\nrfResults,rfDirOrFS
[CuStatResults]\nsrID
[SMonDir]\nsmDirSpecs,faType,faName
[SFile]\nfaType,faName,faOwner,faGroup,faModified,faAccessed,faBlocks,faLength,faAttributes,faLinkCount,faInodeNumber
[SSummary]\nsumTotalSize,sumFileCount,sumScanTime,sumDirectoryCount
[FileTypeSummary]\nfileCount,spaceUsed,fileType
[FileType]\nfptID,ftpFileExtension
[SUserOrGroup]\nsugIdentity,sugFileCount,sugTotalSize,sugDirectoryCount,sugLargestSize
[UserOrGroup]\nugID,ugName
[/Header]
"""


def row(*values):
    cells = (v if isinstance(v, bytes) else str(v).encode() for v in values)
    return b",".join(b'"' + c.replace(b'"', b'""') + b'"' for c in cells) + b"\n"


def block(tag, *inside):
    name = tag.split(b",")[0]
    return b"[" + tag + b"]\n" + b"".join(inside) + b"[/" + name + b"]\n"


def host_name(host):
    return f"host{host:02}"


def directories(host, day, days):
    """Path -> bytes, two levels deep."""
    sizes = {}
    for top in range(TOP):
        path = b"/data/d%02d" % top
        for below in range(BELOW):
            slope = (top * 7 + below * 3 + host) % 11 - 3
            sizes[path + b"/s%02d" % below] = (below + 1) * 10**9 + slope * 10**6 * day
        sizes[path] = sum(size for name, size in sizes.items() if name.startswith(path + b"/"))
    if day >= NEW_FROM * days:
        sizes[b"/data/new"] = 5 * 10**9 + host
    if day < GONE_FROM * days:
        sizes[b"/data/old"] = 7 * 10**9 + host
    sizes[HOSTILE] = 10**8 + 1000 * day
    return sizes


def total(sizes):
    return sum(size for path, size in sizes.items() if path.count(b"/") == 2)


def used(host, day, days):
    """Grows with what the directories hold, beside something that comes and goes."""
    ripple = (day * 7919 + host * 104729) % 1000 * 10**6
    return (2 << 40) + total(directories(host, day, days)) + ripple


def files(host, day):
    """Path -> bytes: one new file a day, each larger than the one before."""
    return {b"/data/d00/f%05d.bin" % d: 10**6 * (d + 200) + host
            for d in range(day - FILES + 1, day + 1)}


def owner_bytes(host, owner, day):
    return (owner + 1) * 10**9 + (owner % 5 - 1) * 10**6 * day + host


def accounts(host, day, share):
    records = [row(1000 + o, 10, owner_bytes(host, o, day) // share, 1, 0) for o in range(OWNERS)]
    names = [row(1000 + o, f"user{o:02}") for o in range(OWNERS)]
    return block(b"SUserOrGroup,srOwners", *records) + block(b"UserOrGroup,srOwners", *names)


def summary(size, when):
    return block(b"SSummary,srSummary", row(size, 1000, when, 100))


def result(host, day, days):
    when = FIRST_DAY + day * DAY
    sizes = directories(host, day, days)

    def profile(number, kind, name, limit, figures):
        on_filesystem = block(b"ResultsByFS,Filesystem", row(number, 7),
                              block(b"CuStatResults", row(number), *figures))
        return block(b"CuStatDef", row(number, kind, name, limit), on_filesystem)

    largest = block(b"SFile,srLargestFiles", *(
        row(1, path, "user00", "users", when, when, size // 512 + 1, size, 0, 1, 99)
        for path, size in sorted(files(host, day).items(), key=lambda item: -item[1])))
    types = (block(b"FileTypeSummary,srFileTypes", *(row(5, 10**9 * (t + 1) + t * day * 10**6, t + 1)
                                                     for t in range(8)))
             + block(b"FileType,srFileTypes", *(row(t + 1, f"ext{t}") for t in range(8))))
    parts = [profile(1, 1, "everything", FILES, [largest, types, summary(total(sizes), when),
                                                 accounts(host, day, 1)])]
    for index, age in enumerate(AGES):
        parts.append(profile(3 + index, 4, f"orvctl:accessed-over {age}", 0,
                             [accounts(host, day, 2 + index)]))
    subtrees = [block(b"ResultsByFS,SMonDir", row(2, 1 if path.count(b"/") == 2 else 2),
                      block(b"SMonDir", row(1 if path.count(b"/") == 2 else 2, 3, path)),
                      block(b"CuStatResults", row(2), summary(size, when)))
                for path, size in sizes.items()]
    parts.append(block(b"CuStatDef", row(2, 0, "orvctl:subtrees", 0), *subtrees))
    in_use = used(host, day, days)
    filesystem = row(7, "/data", 5, "Y", when, CAPACITY // 512, in_use // 512,
                     (CAPACITY - in_use) // 512, 10**6, 10**5)
    return (HEADER + b"[AgentScan]\n" + row("orvctl@" + host_name(host), -1)
            + block(b"Filesystem", filesystem)
            + block(b"MonDirSpec", row(1, "/data/*"), row(2, "/data/*/*"))
            + b"".join(parts) + b"[/AgentScan]\n")


def write(directory, hosts, days):
    os.makedirs(directory, exist_ok=True)
    names = []
    for host in range(hosts):
        for day in range(days):
            names.append(os.path.join(directory, f"{host_name(host)}.{day:05}.dat"))
            with open(names[-1], "wb") as out:
                out.write(result(host, day, days))
    return names


if __name__ == "__main__":
    write(sys.argv[1], *(int(number) for number in (sys.argv[2:] + ["20", "365"][len(sys.argv) - 2:])))
