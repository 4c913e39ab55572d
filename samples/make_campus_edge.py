#!/usr/bin/env python3
"""Writes campus-edge.rules: the ACL of a university campus's border switch.

    ./make_campus_edge.py > campus-edge.rules

The site is made up and its addresses are of the ranges reserved for documentation and private use,
so the file can be loaded anywhere without naming anybody's hosts. Output depends on nothing but
this text: the same file comes out every time, and a test compares it with the one in the tree.

Order matters, since the first matching rule decides: what must never pass first, then what the
network itself needs, then services, then users, and at the end everything else is dropped.
"""

ANY = "0.0.0.0/0"
CAMPUS = "10.20.0.0/16"
SERVERS = "198.51.100.0/24"
MANAGEMENT = "10.20.250.0/24"
ALL_PORTS = (0, 65535)
HIGH_PORTS = (1024, 65535)

ICMP, TCP, UDP, GRE, ESP, OSPF = 1, 6, 17, 47, 50, 89
ACK = 0x0010
SYN_ACK = 0x0012

# Sources no packet may claim: reserved, private (but the campus's own), multicast.
BOGONS = [
    "0.0.0.0/8", "100.64.0.0/10", "127.0.0.0/8", "169.254.0.0/16", "172.16.0.0/12",
    "192.0.0.0/24", "192.168.0.0/16", "198.18.0.0/15", "224.0.0.0/4", "240.0.0.0/4",
]

RESOLVERS = ["198.51.100.53/32", "198.51.100.54/32"]
TIME_SERVERS = ["198.51.100.123/32", "198.51.100.124/32"]
MAIL_SERVERS = ["198.51.100.25/32", "198.51.100.26/32"]
LOG_COLLECTOR = "10.20.250.20/32"
BASTIONS = ["10.20.250.10/32", "10.20.250.11/32"]

# Public web servers: name in a comment, last octet, ports.
WEB_SERVERS = [
    ("university front page", 80), ("library catalogue", 81), ("course registration", 82),
    ("student portal", 83), ("staff directory", 84), ("webmail", 85), ("wiki", 86),
    ("software mirror", 87), ("preprint archive", 88), ("conference site", 89),
    ("museum", 90), ("press office", 91),
]

# Departments: third octet of their /24 and the service each keeps for itself.
DEPARTMENTS = [
    ("physics", 10, 5432), ("chemistry", 11, 5432), ("biology", 12, 3306),
    ("mathematics", 13, 5900), ("informatics", 14, 6443), ("engineering", 15, 1521),
    ("medicine", 16, 11112), ("law", 17, 445), ("economics", 18, 1433), ("history", 19, 445),
    ("languages", 20, 445), ("music", 21, 548), ("architecture", 22, 445),
    ("geography", 23, 8443), ("psychology", 24, 3306), ("education", 25, 445),
]

# What worms and scanners knock at; never served to the outside.
CLOSED_TCP = [23, 111, 135, 139, 445, 512, 513, 514, 1433, 1521, 2049, 2323, 3306, 3389, 5432, 5555,
              5900, 6379, 7547, 9200, 11211, 27017]
CLOSED_UDP = [19, 69, 111, 137, 138, 161, 389, 1434, 1900, 5353, 11211]


def rule(source, destination, protocol, sport=ALL_PORTS, dport=ALL_PORTS, flags=0, flags_mask=0,
         verdict="permit"):
    """One line; a protocol of None means any."""
    value, mask = (0, 0) if protocol is None else (protocol, 0xFF)
    low, high = dport if isinstance(dport, tuple) else (dport, dport)
    slow, shigh = sport if isinstance(sport, tuple) else (sport, sport)
    print(f"@{source}\t{destination}\t{slow} : {shigh}\t{low} : {high}\t"
          f"0x{value:02x}/0x{mask:02X}\t0x{flags:04x}/0x{flags_mask:04X}\t{verdict}")


def section(title):
    print(f"\n# {title}")


def drop(source, destination, protocol, **fields):
    rule(source, destination, protocol, verdict="drop", **fields)


def protect():
    section("Sources that cannot be")
    for network in BOGONS:
        drop(network, SERVERS, None)
    section("TCP flags no honest host sends: none at all, SYN with FIN, all of them")
    drop(ANY, SERVERS, TCP, flags=0x0000, flags_mask=0x003F)
    drop(ANY, SERVERS, TCP, flags=0x0003, flags_mask=0x0003)
    drop(ANY, SERVERS, TCP, flags=0x003F, flags_mask=0x003F)
    section("Services never offered to the outside")
    for port in CLOSED_TCP:
        drop(ANY, SERVERS, TCP, dport=port)
    for port in CLOSED_UDP:
        drop(ANY, SERVERS, UDP, dport=port)


def infrastructure():
    section("The control plane sees what is meant for it")
    rule("10.20.255.0/30", "10.20.255.0/30", OSPF, verdict="trap")
    rule("10.20.255.0/30", "10.20.255.0/30", TCP, dport=179, verdict="trap")
    rule("10.20.255.0/30", "10.20.255.0/30", TCP, sport=179, verdict="trap")
    rule("10.20.255.0/30", "10.20.255.0/30", UDP, dport=3784, verdict="trap")
    section("Management: bastions reach devices, devices reach the collector")
    for bastion in BASTIONS:
        for port in (22, 443, 830):
            rule(bastion, MANAGEMENT, TCP, dport=port)
        rule(bastion, MANAGEMENT, UDP, dport=161)
    rule(MANAGEMENT, LOG_COLLECTOR, UDP, dport=514)
    rule(MANAGEMENT, LOG_COLLECTOR, TCP, dport=6514)
    rule(MANAGEMENT, LOG_COLLECTOR, UDP, dport=(2055, 2056))
    rule(MANAGEMENT, LOG_COLLECTOR, UDP, dport=162)
    drop(CAMPUS, MANAGEMENT, None)
    section("DNS: to our resolvers, and from them to the world")
    for resolver in RESOLVERS:
        for protocol in (UDP, TCP):
            rule(ANY, resolver, protocol, dport=53)
            rule(resolver, ANY, protocol, dport=53)
            rule(ANY, resolver, protocol, sport=53, dport=HIGH_PORTS)
        rule(CAMPUS, resolver, TCP, dport=853)
    drop(CAMPUS, ANY, UDP, dport=53)
    section("NTP: our time servers alone speak to the world")
    for server in TIME_SERVERS:
        rule(CAMPUS, server, UDP, dport=123)
        rule(server, ANY, UDP, sport=123, dport=123)
        rule(ANY, server, UDP, sport=123, dport=123)
    drop(CAMPUS, ANY, UDP, dport=123)


def services():
    section("Mail")
    for server in MAIL_SERVERS:
        for port in (25, 465, 587, 993, 995):
            rule(ANY, server, TCP, dport=port)
        rule(server, ANY, TCP, dport=25)
    drop(CAMPUS, ANY, TCP, dport=25)
    for name, octet in WEB_SERVERS:
        section(f"Web: {name}")
        rule(ANY, f"198.51.100.{octet}/32", TCP, dport=80)
        rule(ANY, f"198.51.100.{octet}/32", TCP, dport=443)
        rule(ANY, f"198.51.100.{octet}/32", UDP, dport=443)
        rule(f"198.51.100.{octet}/32", ANY, TCP, sport=443, flags=ACK, flags_mask=ACK)
    section("Remote access")
    for octet in (10, 11):
        gateway = f"198.51.100.{octet}/32"
        rule(ANY, gateway, UDP, dport=500)
        rule(ANY, gateway, UDP, dport=4500)
        rule(ANY, gateway, ESP)
        rule(ANY, gateway, UDP, dport=51820)
        rule(ANY, gateway, TCP, dport=22)


def departments():
    for name, octet, port in DEPARTMENTS:
        network = f"10.20.{octet}.0/24"
        server = f"10.20.{octet}.5/32"
        section(f"Department: {name}")
        rule(network, server, TCP, dport=port)
        rule(CAMPUS, server, TCP, dport=443)
        rule(BASTIONS[0], server, TCP, dport=22)
        drop(ANY, server, None)
        rule(network, "198.51.100.0/24", TCP, dport=(80, 81))
        rule(network, f"10.20.{octet}.9/32", TCP, dport=631)
        rule(network, f"10.20.{octet}.9/32", TCP, dport=9100)
        drop(CAMPUS, f"10.20.{octet}.9/32", None)


def users():
    section("Telephony")
    rule("10.20.64.0/19", "10.20.200.0/28", UDP, dport=(5060, 5061))
    rule("10.20.64.0/19", "10.20.200.0/28", UDP, dport=(16384, 32767))
    section("Wireless guests: the web and mail, nothing of the campus")
    guests = "10.20.128.0/18"
    drop(guests, CAMPUS, None)
    for port in (80, 443, 993, 5223):
        rule(guests, ANY, TCP, dport=port)
    rule(guests, ANY, UDP, dport=443)
    drop(guests, ANY, None)
    section("ICMP, which path discovery needs")
    rule(CAMPUS, ANY, ICMP)
    rule(ANY, SERVERS, ICMP)
    section("Users out, answers in")
    for port in (22, 80, 443, 587, 993, 995, 1935, 3478, 5222, 8080, 8443, 9418):
        rule(CAMPUS, ANY, TCP, dport=port)
    for port in (443, 3478, 4500):
        rule(CAMPUS, ANY, UDP, dport=port)
    rule(CAMPUS, ANY, GRE)
    rule(ANY, CAMPUS, TCP, dport=HIGH_PORTS, flags=SYN_ACK, flags_mask=SYN_ACK)
    rule(ANY, CAMPUS, TCP, dport=HIGH_PORTS, flags=ACK, flags_mask=ACK)
    section("Everything else")
    drop(ANY, ANY, None)


def main():
    print("# Border ACL of a campus network, written by make_campus_edge.py; edit that instead.")
    print("# Fields: @source destination source-ports destination-ports protocol flags verdict")
    protect()
    infrastructure()
    services()
    departments()
    users()


if __name__ == "__main__":
    main()
