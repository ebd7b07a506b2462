#!/usr/bin/env python3
"""Makes the APN databases and the operator list of the router from mobile-broadband-provider-info.

usage: make_router_data.py <serviceproviders.xml> <folder> [<apns-conf.xml>]

writes <folder>/apn-config.js, <folder>/apns and <folder>/operator.dat; the same input gives the same bytes.

apns holds the rows of apn_facts.txt beside this program, then those of the open Android APN list, if it is given, then
those of the public list of providers. apn/choices.h describes its form.
"""

import collections
import json
import os
import re
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
Apn = collections.namedtuple("Apn", "apn type user password group")

FACTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "apn_facts.txt")

# A row of the table: the APN's login, and its authentication and IP type in the words of the table.
Login = collections.namedtuple("Login", "apn user password auth ip")

# The program tries seven.
MOST_ROWS_OF_A_KEY = 6

ANDROID_AUTH = {"0": "none", "1": "pap", "2": "chap", "3": "both"}
ANDROID_IP = {"IP": "ipv4", "IPV6": "ipv6", "IPV4V6": "ipv4v6"}

# A card has no room for a longer name of its provider (EF_SPN, 3GPP TS 31.102).
SPN_BYTES = 16

# Ends of names that are countries' but used everywhere.
OPEN_DOMAINS = {"ai", "bm", "cc", "co", "fm", "io", "me", "ng", "tv", "ws"}


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
                Apn(
                    apn.get("value").strip(),
                    type_of(apn),
                    text_of(apn, "username"),
                    text_of(apn, "password"),
                    text_of(apn, "gid1").upper(),
                )
                for apn in gsm.findall("apn")
            ]
            providers.append(Provider(name_of(element), element.get("primary"), list(dict.fromkeys(codes)), apns))
    return providers


def countries_of(path):
    """Country code (MCC) -> the country that most of its networks are listed in."""
    counts = collections.defaultdict(collections.Counter)
    for country in xml.etree.ElementTree.parse(path).getroot().iter("country"):
        for network in country.iter("network-id"):
            counts[network.get("mcc")][country.get("code").lower()] += 1
    return {mcc: count.most_common(1)[0][0] for mcc, count in counts.items()}


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


def is_foreign(mcc, name, countries):
    """An APN that ends in another country's domain was listed under the wrong network."""
    domain = name.lower().rpartition(".")[2] if "." in name else ""
    is_country = domain in countries.values() and domain not in OPEN_DOMAINS
    return is_country and mcc in countries and countries[mcc] != domain


def is_apn(name):
    """What is left are names of a network's own services, and what people wrote in the place of one."""
    services = {"ims", "vzwims", "mms", "wap", "fota", "sos", "xcap", "default"}
    return re.fullmatch(r"[A-Za-z0-9._-]{1,63}", name) is not None and name.lower() not in services


def is_on_a_card(name):
    return 0 < len(name.encode()) <= SPN_BYTES and name.isprintable()


def login_of(apn, user, password, auth="", ip=""):
    """Without a user that only stands for the subscriber's own number or name."""
    stands_for = r"\*|.*[ ()].*|.*(?i:msisdn|mobilenumber|phone ?number|mdn@).*|65"
    if re.fullmatch(stands_for, user) or re.fullmatch(stands_for, password) or not (user + password).isprintable():
        user = password = ""
    return Login(apn, user, password, auth, ip)


def read_facts():
    with open(FACTS, encoding="utf-8") as file:
        for line in file:
            if not line.startswith("# ") and line.strip() not in ("", "#"):
                key, *login, source = line.rstrip("\n").split("\t")
                if len(login) != len(Login._fields) or not source:
                    sys.exit(f"{FACTS}: {key}: a row has seven fields, the last is its source")
                yield key, Login(*login)


def android_key(row):
    """None for a row that fits no card that its network alone would not fit."""
    network = row.get("mcc", "") + row.get("mnc", "")
    match = row.get("mvno_match_data", "").strip()
    kind = row.get("mvno_type", "")
    if not kind:
        return network
    if kind == "gid":
        return f"{network}#{match.upper()}" if match.strip("0Ff") else None
    if kind == "spn":
        return f"{network}={match}" if match else None
    digits = match.rstrip("xX").lower()
    return digits + "*" if len(digits) > len(network) or kind == "iccid" else None


def read_android(path, countries):
    """The rows that carry internet traffic, those of virtual operators included."""
    for row in xml.etree.ElementTree.parse(path).getroot().iter("apn"):
        types = [name.strip() for name in row.get("type", "default").split(",")]
        apn = row.get("apn", "").strip()
        key = android_key(row)
        if key is None or not {"default", "hipri", "*", ""} & set(types):
            continue
        if not is_apn(apn) or is_foreign(row.get("mcc"), apn, countries):
            continue
        auth = ANDROID_AUTH.get(row.get("authtype"), "")
        ip = ANDROID_IP.get(row.get("protocol"), "")
        yield key, login_of(apn, row.get("user", "").strip(), row.get("password", "").strip(), auth, ip)


def provider_logins(networks, countries):
    """The rows of each network, and for a provider that rents it, the same again for cards that bear its name."""
    for (mcc, mnc), listed in networks.items():
        for provider in listed:
            for apn in provider.apns:
                carries_traffic = apn.type is None or "default" in apn.type
                if not carries_traffic or not is_apn(apn.apn) or is_foreign(mcc, apn.apn, countries):
                    continue
                login = login_of(apn.apn, apn.user, apn.password)
                yield mcc + mnc + ("#" + apn.group if apn.group else ""), login
                if provider != listed[0] and not apn.group and is_on_a_card(provider.name):
                    yield f"{mcc}{mnc}={provider.name}", login


def apn_table(rows):
    """The rows of each key in the order in which they come, sorted by the keys' bytes."""
    table = collections.defaultdict(dict)
    spelling = {}
    for key, login in rows:
        # Names and APNs are the same in capital and small letters.
        key = spelling.setdefault(key.lower(), key)
        table[key].setdefault((login.apn.lower(), login.user, login.password), login)
    lines = []
    for key in sorted(table, key=lambda key: key.encode()):
        for login in list(table[key].values())[:MOST_ROWS_OF_A_KEY]:
            lines.append("\t".join((key, *login)).rstrip("\t"))
    return "\n".join(lines) + "\n"


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
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    networks = networks_of(read_providers(sys.argv[1]))
    countries = countries_of(sys.argv[1])
    logins = list(read_facts())
    if len(sys.argv) == 4:
        logins += read_android(sys.argv[3], countries)
    logins += provider_logins(networks, countries)
    texts = {"apn-config.js": apn_database(networks), "apns": apn_table(logins), "operator.dat": operator_list(networks)}
    os.makedirs(sys.argv[2], exist_ok=True)
    for name, text in texts.items():
        with open(os.path.join(sys.argv[2], name), "w", encoding="utf-8", newline="\n") as file:
            file.write(text)


main()
