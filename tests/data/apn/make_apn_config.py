#!/usr/bin/env python3
"""Makes apn-config.js, an APN database in the router's form, from the public-domain list of the world's mobile networks
in Debian's package mobile-broadband-provider-info (20230416):

    ./make_apn_config.py /usr/share/mobile-broadband-provider-info/serviceproviders.xml >apn-config.js
"""
import json
import sys
import xml.etree.ElementTree as ElementTree

TYPES = {"internet": "default,supl", "mms": "mms", "wap": "wap", "mms-internet-hipri": "default,mms,hipri",
         "mms-internet-hipri-fota": "default,mms,hipri,fota"}


def entries(root):
    for gsm in root.iter("gsm"):
        for network in gsm.findall("network-id"):
            for apn in gsm.findall("apn"):
                usage = apn.find("usage")
                fields = {"mcc": network.get("mcc"), "mnc": network.get("mnc"), "apn": apn.get("value"),
                          "type": None if usage is None else TYPES[usage.get("type")],
                          "user": apn.findtext("username"), "password": apn.findtext("password")}
                yield {"-" + key: value for key, value in fields.items() if value is not None}


lines = [json.dumps(entry, ensure_ascii=False, separators=(",", ":"))
         for entry in entries(ElementTree.parse(sys.argv[1]).getroot())]
print('var apn_config_default ={"apns":{"apn":[\n' + ",\n".join(lines) + "\n]}}")
