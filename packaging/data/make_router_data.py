#!/usr/bin/env python3
"""Makes the APN database and the operator list of the router from mobile-broadband-provider-info.

usage: make_router_data.py <serviceproviders.xml> <folder>

writes <folder>/apn-config.js and <folder>/operator.dat; the same input gives the same bytes.
"""

import collections
import json
import os
import sys
import xml.etree.ElementTree

# Exactly as long as what modemctl skips unread.
PREFIX = "var apn_config_default ="
assert len(PREFIX) == 24

# modemctl shows no more of an operator's name.
OPERATOR_BYTES = 16

# Only what has no type, or "default" or "hipri" in it, is tried for going online.
TYPES = {
    "internet": None,
    "mms-internet-hipri": "default,mms,hipri",
    "mms-internet-hipri-fota": "default,mms,hipri,fota",
}

Provider = collections.namedtuple("Provider", "name primary codes apns")
Apn = collections.namedtuple("Apn", "apn type user password")


def text_of(element, tag):
    return (element.findtext(tag) or "").strip()


def type_of(apn):
    usage = apn.find("usage")
    if usage is None:
        return None if apn.find("mmsc") is None else "mms"
    return TYPES.get(usage.get("type"), usage.get("type"))


def name_of(provider):
    names = [name.text.strip() for name in provider.findall("name") if name.text and name.text.strip()]
    return names[0] if names else ""


def read_providers(path):
    """Every provider's GSM networks and APNs, in the file's order."""
    providers = []
    for element in xml.etree.ElementTree.parse(path).getroot().iter("provider"):
        for gsm in element.findall("gsm"):
            codes = [(network.get("mcc"), network.get("mnc")) for network in gsm.findall("network-id")]
            apns = [
                Apn(apn.get("value").strip(), type_of(apn), text_of(apn, "username"), text_of(apn, "password"))
                for apn in gsm.findall("apn")
            ]
            providers.append(Provider(name_of(element), element.get("primary"), list(dict.fromkeys(codes)), apns))
    return providers


def longer_codes(code, codes):
    """The networks with a three-digit code that begins with this two-digit one."""
    mcc, mnc = code
    return [(mcc, mnc + digit) for digit in "0123456789" if len(mnc) == 2 and (mcc, mnc + digit) in codes]


def networks_of(providers):
    """Network code -> its providers, the network's owner before those that rent it."""
    networks = collections.defaultdict(list)
    for provider in providers:
        for code in provider.codes:
            networks[code].append(provider)
    # A provider that says so is the owner; else the one with the most networks, then the most APNs, then the first.
    owned = {"true": 0, None: 1, "false": 2}
    for listed in networks.values():
        listed.sort(key=lambda provider: (owned[provider.primary], -len(provider.codes), -len(provider.apns)))
    return networks


def apn_entry(code, apn):
    entry = {"-mcc": code[0], "-mnc": code[1], "-apn": apn.apn}
    for key in ("type", "user", "password"):
        if getattr(apn, key):
            entry["-" + key] = getattr(apn, key)
    return entry


def apn_database(networks):
    # A card's three digits are looked up before its two, so the two digits' APNs must stand under both.
    apns = {code: [apn for provider in networks[code] for apn in provider.apns] for code in networks}
    for code in networks:
        for longer in longer_codes(code, networks):
            apns[longer] = apns[longer] + apns[code]
    lines = []
    for code in sorted(apns):
        # What carries internet traffic comes first; an APN that several providers have comes once.
        wanted = sorted(dict.fromkeys(apn for apn in apns[code] if apn.apn), key=lambda apn: apn.type is not None)
        lines += [json.dumps(apn_entry(code, apn), ensure_ascii=False, separators=(",", ":")) for apn in wanted]
    return PREFIX + '{"apns":{"apn":[\n' + ",\n".join(lines) + "\n]}}\n"


def short_name(name):
    plain = " ".join(name.replace(",", " ").split())
    return plain.encode()[:OPERATOR_BYTES].decode(errors="ignore").strip()


def operator_list(networks):
    operators = {}
    for (mcc, mnc), listed in networks.items():
        name = next((short_name(provider.name) for provider in listed if short_name(provider.name)), None)
        if name is None:
            continue
        longer = longer_codes((mcc, mnc), networks)
        # The list is searched for a text: a code must not be the beginning of another.
        for digit in "0123456789" if longer else [""]:
            if (mcc, mnc + digit) not in longer:
                operators[mcc + mnc + digit] = name
    lines = [code + "," + name for code, name in sorted(operators.items())]
    for code in operators:
        hits = sum(code in line for line in lines)
        if hits != 1:
            sys.exit(f"{code} is found in {hits} lines of the operator list")
    return "\n".join(lines) + "\n"


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    networks = networks_of(read_providers(sys.argv[1]))
    os.makedirs(sys.argv[2], exist_ok=True)
    for name, text in (("apn-config.js", apn_database(networks)), ("operator.dat", operator_list(networks))):
        with open(os.path.join(sys.argv[2], name), "w", encoding="utf-8", newline="\n") as file:
            file.write(text)


main()
