#!/usr/bin/env python3
"""check_package.py EAP BUILD_PATH...: reads a camera package as an installer would and checks it.

Prints "ok NAME" or "not ok NAME" for each check, what is wrong before the latter. BUILD_PATHs are folders of
the building machine, of which nothing in the package may tell.
"""

import json
import os
import re
import subprocess
import sys
import tarfile
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MOST_BYTES = 12 * 1024 * 1024
NEWEST_GLIBC = (2, 36)

# What a camera has.
CAMERA_LIBRARIES = {
    "libc.so.6", "libm.so.6", "libpthread.so.0", "libdl.so.2", "librt.so.1", "libgcc_s.so.1",
    "ld-linux-aarch64.so.1",
    "libglib-2.0.so.0", "libgio-2.0.so.0", "libgobject-2.0.so.0", "libcairo.so.2", "libfcgi.so.0",
    "libvdostream.so.1", "libaxparameter.so.1", "libaxevent.so.1", "libaxoverlay.so.0",
}
# An ordinary machine's build takes these from Debian.
HOST_LIBRARIES = {"ld-linux-x86-64.so.2", "liburiparser.so.1", "libyuv.so.0", "libstdc++.so.6", "libz.so.1"}


class Failure(Exception):
    pass


def require(condition, text):
    if not condition:
        raise Failure(text)


class Package:
    def __init__(self, path, build_paths):
        self.path = path
        self.build_paths = build_paths
        self.folder = tempfile.mkdtemp()
        with tarfile.open(path, "r:gz") as archive:
            self.members = archive.getmembers()
            for member in self.members:
                if member.isfile():
                    target = os.path.join(self.folder, member.name)
                    os.makedirs(os.path.dirname(target), exist_ok=True)
                    with open(target, "wb") as file:
                        file.write(archive.extractfile(member).read())
        self.names = [member.name for member in self.members]
        self.manifest = json.loads(self.text("manifest.json"))
        self.setup = self.manifest["acapPackageConf"]["setup"]
        self.configuration = self.manifest["acapPackageConf"]["configuration"]
        self.program = os.path.join(self.folder, self.setup["appName"])

    def bytes(self, name):
        with open(os.path.join(self.folder, name), "rb") as file:
            return file.read()

    def text(self, name):
        return self.bytes(name).decode("utf-8")

    def readelf(self, *options):
        return subprocess.run(["readelf", "-W", *options, self.program], check=True, capture_output=True,
                              text=True).stdout

    def is_for_cameras(self):
        return self.setup["architecture"] == "aarch64"


def declared_parameters():
    with open(os.path.join(ROOT, "package", "parameters.txt"), encoding="utf-8") as file:
        return file.read().split()


def names_in_the_code():
    """The parameter names that the application reads and writes."""
    with open(os.path.join(ROOT, "settings", "parameter_controller.cpp"), encoding="utf-8") as file:
        return set(re.findall(r'"([A-Z][A-Za-z]+[0-9x-y]*)"', file.read()))


def shell_values(text):
    """KEY="value" lines as a dictionary; anything else is wrong."""
    values = {}
    for line in text.splitlines():
        if not line or line.startswith("#"):
            continue
        match = re.fullmatch(r'([A-Za-z0-9]+)="([^"]*)"(?: type="([^"]*)")?', line)
        require(match, f"no KEY=\"value\": {line!r}")
        values[match.group(1)] = match.group(2)
    return values


# --- the checks -----------------------------------------------------------------------------------


def members_are_plain_and_owned_by_root(package):
    for member in package.members:
        require(member.isfile() or member.isdir(), f"{member.name} is neither file nor folder")
        require(not member.name.startswith(("/", "./", "..")) and "/../" not in member.name, member.name)
        require(member.uid == 0 and member.gid == 0, f"{member.name} belongs to {member.uid}:{member.gid}")
        wanted = 0o755 if member.isdir() or member.name == package.setup["appName"] else 0o644
        require(member.mode == wanted, f"{member.name} has the mode {member.mode:o}, not {wanted:o}")
    require(package.names == sorted(package.names), "the files are in no order")
    require(len({member.mtime for member in package.members}) == 1, "the files are of several times")


def files_are_those_of_a_package(package):
    top = {name for name in package.names if "/" not in name}
    wanted = {"manifest.json", "package.conf", "param.conf", "LICENSE", package.setup["appName"], "html",
              "localdata"}
    require(top == wanted, f"{sorted(top)} instead of {sorted(wanted)}")
    page = package.configuration["settingPage"]
    require(f"html/{page}" in package.names, f"there is no html/{page}")
    for link in re.findall(r'(?:src|href)="([^"#]+)"', package.text(f"html/{page}")):
        require(not re.match(r"[a-z]+:|/", link), f"the page asks for {link}")
        require("html/" + link.removeprefix("./") in package.names, f"the page's {link} is missing")


def file_name_tells_version_and_processor(package):
    version = package.setup["version"].replace(".", "_")
    wanted = f"Zerith_Markers_{version}_{package.setup['architecture']}.eap"
    require(os.path.basename(package.path) == wanted, f"not {wanted}")


def manifest_follows_its_schema(package):
    manifest, setup = package.manifest, package.setup
    require(set(manifest) <= {"schemaVersion", "$schema", "resources", "acapPackageConf"}, "unknown keys")
    require(re.fullmatch(r"1\.7\.\d+|2\.\d+(\.\d+)?", manifest["schemaVersion"]), "the schema's version")
    second = manifest["schemaVersion"].startswith("2")
    require(re.fullmatch(r"[A-Za-z][A-Za-z0-9_]{1,25}", setup["appName"]), "appName")
    require(0 < len(setup["friendlyName"]) <= 256 and "\n" not in setup["friendlyName"], "friendlyName")
    require(setup["vendor"] == "Zerith", "vendor")
    require(re.fullmatch(r"\d+\.\d+\.\d+", setup["version"]), "version")
    require(setup["runMode"] in {"respawn", "once", "never"}, "runMode")
    require("user" not in setup, "a static user")
    if second:
        require("embeddedSdkVersion" not in setup, "embeddedSdkVersion is gone in schema 2")
        require(setup["compatibleOsVersions"], "compatibleOsVersions")
        require(re.fullmatch(r"[0-9A-Fa-f]{10}", setup["vendorId"]), "vendorId")
    else:
        require(setup["embeddedSdkVersion"] == "3.0", "embeddedSdkVersion")
    require(package.manifest["acapPackageConf"]["copyProtection"]["method"] == "none", "copyProtection")


def web_api_is_wired_to_the_fixed_socket(package):
    with open(os.path.join(ROOT, "outputs", "fastcgi_service.cpp"), encoding="utf-8") as file:
        socket = re.search(r'"(/usr/local/packages/[^"]*)"', file.read()).group(1)
    (entry,) = package.configuration["reverseProxy"]
    require(entry["target"] == socket, f"{entry['target']} is not {socket}")
    require(entry["apiType"] == "fcgi" and entry["apiPath"] == "zerith_markers.cgi", str(entry))
    require(entry["access"] in {"admin", "operator"}, "strangers would switch the alert")
    require("httpConfig" not in package.configuration, "the same name would be declared both ways")


def parameters_are_those_of_the_code(package):
    declared = package.configuration["paramConfig"]
    names = [entry["name"] for entry in declared]
    require(len(names) == 39 and len(set(names)) == 39, f"{len(names)} parameters")
    require(set(names) == set(declared_parameters()), "not those of package/parameters.txt")
    for entry in declared:
        require(entry["default"] == "0" and entry["type"] == "hidden:string", str(entry))
    fixed = {name for name in names if not re.search(r"\d+[xy]?$", name)}
    require(fixed <= names_in_the_code(), f"unknown to the code: {sorted(fixed - names_in_the_code())}")
    conf = shell_values(package.text("param.conf"))
    require(conf == {name: "0" for name in names}, "param.conf differs from the manifest")
    require(package.text("param.conf").endswith("\n\n"), "param.conf does not end with an empty line")


def package_conf_says_what_the_manifest_says(package):
    values = shell_values(package.text("package.conf"))
    version = [values[f"APP{part}VERSION"] for part in ("MAJOR", "MINOR", "MICRO")]
    require(".".join(version) == package.setup["version"], f"version {version}")
    require(values["APPNAME"] == package.setup["appName"], "APPNAME")
    require(values["PACKAGENAME"] == package.setup["friendlyName"], "PACKAGENAME")
    require(values["APPTYPE"] == package.setup["architecture"], "APPTYPE")
    require(values["STARTMODE"] == package.setup["runMode"], "STARTMODE")
    page = package.configuration["settingPage"]
    require(values["SETTINGSPAGEFILE"] == page and values["SETTINGSPAGETEXT"] == page, "SETTINGSPAGE...")


def page_is_of_the_same_version(package):
    version = package.setup["version"].encode()
    scripts = [name for name in package.names if name.startswith("html/") and name.endswith(".js")]
    require(any(version in package.bytes(name) for name in scripts), "no script of the page tells it")


def licence_names_what_is_linked(package):
    text = package.text("LICENSE")
    for name in ("Apache License", "OpenCV", "libyuv", "uriparser", "lit ", "zlib", "Redistribution and use"):
        require(name in text, f"LICENSE does not name {name}")
    require("@" not in re.sub(r"<[^>]*@[^>]*>", "", text), "LICENSE has a gap")
    # A camera's is always our own build.
    known = "Changed for Zerith Markers" if package.is_for_cameras() else "Changed for Zerith Markers|Not changed by us"
    require(re.search(known, text), "LICENSE does not tell whether OpenCV was changed")


def program_is_for_the_processor(package):
    machine = re.search(r"Machine: +(.*)", package.readelf("-h")).group(1)
    wanted = "AArch64" if package.is_for_cameras() else "Advanced Micro Devices X86-64"
    require(machine == wanted, f"{machine}, not {wanted}")


def program_needs_only_what_a_camera_has(package):
    needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", package.readelf("-d")))
    known = CAMERA_LIBRARIES | (set() if package.is_for_cameras() else HOST_LIBRARIES)
    require(needed <= known, f"it needs {sorted(needed - known)}")
    for name in ("libvdostream.so.1", "libaxparameter.so.1", "libaxevent.so.1", "libaxoverlay.so.0"):
        require(name in needed, f"it does not need {name}")
    require(not re.search(r"\((RPATH|RUNPATH)\)", package.readelf("-d")), "it has a path for libraries")


def program_asks_for_no_newer_c_library(package):
    versions = {tuple(map(int, found.split("."))) for found in
                re.findall(r"GLIBC_(\d+\.\d+)", package.readelf("-V"))}
    require(versions, "it asks for none at all")
    require(max(versions) <= NEWEST_GLIBC, f"it asks for {max(versions)}")


def program_is_stripped(package):
    sections = package.readelf("-S")
    require(".symtab" not in sections and ".debug_info" not in sections, "it has symbols")
    symbols = os.path.join(os.path.dirname(package.path), package.setup["appName"] + ".debug")
    require(os.path.getsize(symbols) > 0, f"there is no {symbols}")


def program_is_hardened(package):
    require("DYN" in re.search(r"Type: +(.*)", package.readelf("-h")).group(1), "no PIE")
    require("GNU_RELRO" in package.readelf("-l"), "no RELRO")
    require(re.search(r"\bNOW\b", package.readelf("-d")), "not bound at once")
    require(re.search(r"GNU_STACK.* RW +0x", package.readelf("-l")), "its stack can be executed")
    symbols = package.readelf("--dyn-syms")
    require("__stack_chk_fail" in symbols, "no stack protector")
    require(re.search(r"__\w+_chk\b", symbols.replace("__stack_chk", "")), "no fortified functions")


def nothing_tells_of_the_building_machine(package):
    for name in package.names:
        path = os.path.join(package.folder, name)
        if os.path.isfile(path):
            content = package.bytes(name)
            for build_path in package.build_paths:
                require(build_path.encode() not in content, f"{name} holds {build_path}")


def size_is_small(package):
    size = os.path.getsize(package.path)
    require(size <= MOST_BYTES, f"{size} bytes")


def bill_of_materials_is_of_this_package(package):
    with open(package.path.removesuffix(".eap") + ".spdx.json", encoding="utf-8") as file:
        bill = json.load(file)
    require(bill["spdxVersion"] == "SPDX-2.3", "not SPDX 2.3")
    packages = {entry["name"]: entry for entry in bill["packages"]}
    for name in ("opencv", "libyuv", "uriparser", "zlib", "lit"):
        require(re.match(r"\d", packages[name]["versionInfo"]), f"{name}: {packages[name]['versionInfo']}")
    require(packages["opencv"]["sourceInfo"] in package.text("LICENSE"), "its sourceInfo of OpenCV is not the notices'")
    own = packages["Zerith Markers"]
    require(own["versionInfo"] == package.setup["version"], "another version")
    found = subprocess.run(["sha256sum", package.path], check=True, capture_output=True, text=True).stdout
    require(found.startswith(own["checksums"][0]["checksumValue"]), "another package's")
    ids = {entry["SPDXID"] for entry in bill["packages"]} | {"SPDXRef-DOCUMENT"}
    for relation in bill["relationships"]:
        require({relation["spdxElementId"], relation["relatedSpdxElement"]} <= ids, str(relation))


CHECKS = [
    members_are_plain_and_owned_by_root,
    files_are_those_of_a_package,
    file_name_tells_version_and_processor,
    manifest_follows_its_schema,
    web_api_is_wired_to_the_fixed_socket,
    parameters_are_those_of_the_code,
    package_conf_says_what_the_manifest_says,
    page_is_of_the_same_version,
    licence_names_what_is_linked,
    program_is_for_the_processor,
    program_needs_only_what_a_camera_has,
    program_asks_for_no_newer_c_library,
    program_is_stripped,
    program_is_hardened,
    nothing_tells_of_the_building_machine,
    size_is_small,
    bill_of_materials_is_of_this_package,
]


def main():
    package = Package(sys.argv[1], sys.argv[2:])
    failed = False
    for check in CHECKS:
        name = f"package for {package.setup['architecture']}: {check.__name__.replace('_', ' ')}"
        try:
            check(package)
            print("ok", name)
        except (Failure, KeyError, ValueError, AttributeError, OSError, subprocess.SubprocessError) as problem:
            print("   ", problem)
            print("not ok", name)
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
