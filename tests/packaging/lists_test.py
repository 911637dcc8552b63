"""lists_test.py PACKAGING: the property lists hold only keys that Apple documents, each with a value of its type.

The forms are from launchd.plist(5) and Apple's schema of profiles, as far as they are used. In them, a set holds the values
that there are, a list the form of each element, a dictionary the keys (* behind those that must be there).
"""
import plistlib
import re
import sys
from pathlib import Path

PAYLOAD = {"PayloadType*": str, "PayloadVersion*": int, "PayloadIdentifier*": str, "PayloadUUID*": str,
           "PayloadDisplayName": str, "PayloadOrganization": str, "PayloadScope": {"System", "User"}}
RULE = {"RuleType*": {"BundleIdentifier", "BundleIdentifierPrefix", "Label", "LabelPrefix", "TeamIdentifier"},
        "RuleValue*": str, "Comment": str}
IDENTITY = {"Identifier*": str, "IdentifierType*": {"bundleID", "path"}, "CodeRequirement*": str, "StaticCode": bool,
            "Allowed*": bool, "Comment": str}
LISTS = {
    "tovrik.zerbin.plist": {
        "Label*": {"tovrik.zerbin"}, "ProgramArguments*": [str], "RunAtLoad": bool, "Umask*": {0o022}, "ThrottleInterval": int,
        "Nice": int, "KeepAlive*": {"SuccessfulExit*": {False}}, "ProcessType": {"Background", "Standard", "Adaptive", "Interactive"},
        "LimitLoadToSessionType": {"Aqua", "Background", "LoginWindow", "StandardIO", "System"}},
    "StartupParameters.plist": {"Description": str, "Provides*": [str], "Uses": [str],
                                "OrderPreference": {"First", "Early", "None", "Late", "Last"}},
    "profiles/managed-login-item.mobileconfig":
        {**PAYLOAD, "PayloadContent*": [{**PAYLOAD, "PayloadType*": {"com.apple.servicemanagement"}, "Rules*": [RULE]}]},
    "profiles/privacy.mobileconfig":
        {**PAYLOAD, "PayloadContent*": [{**PAYLOAD, "PayloadType*": {"com.apple.TCC.configuration-profile-policy"}, "Services*": {
            "SystemPolicyRemovableVolumes": [IDENTITY], "SystemPolicyAppBundles": [IDENTITY], "SystemPolicyAllFiles": [IDENTITY]}}]},
}


def faults(value, form, where):
    if isinstance(form, dict) and isinstance(value, dict):
        known = {key.rstrip("*"): inner for key, inner in form.items()}
        yield from (f"{where}: {key} is missing" for key in known if key not in value and key + "*" in form)
        for key in value:
            yield from faults(value[key], known[key], f"{where}/{key}") if key in known else [f"{where}: {key} is not documented"]
    elif isinstance(form, list) and isinstance(value, list):
        for inner in value:
            yield from faults(inner, form[0], where)
    elif not (value in form if isinstance(form, set) else type(value) is form):
        yield f"{where}: {value!r} is not {form}"


found = []
for name, form in LISTS.items():
    text = (Path(sys.argv[1]) / name).read_bytes()
    found += faults(plistlib.loads(text), form, name)
    found += [f"{name}: XML has no two hyphens in a comment" for body in re.findall(rb"<!--(.*?)-->", text, re.S) if b"--" in body]
print("\n".join(found) or "ok")
sys.exit(bool(found))
