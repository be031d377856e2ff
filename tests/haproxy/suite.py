"""Runs what docs/server.md says about HAProxy, and checks whom it lets in."""

import argparse
import contextlib
import pathlib
import re
import shlex
import socket
import subprocess
import sys
import tempfile
import textwrap
import time

PATIENCE = 60  # seconds
CA_CONFIGURATION = """
[ca]
default_ca = own
[own]
database = {folder}/index.txt
default_md = sha256
default_crl_days = 1
"""


def example(page, first_line):
    """The indented example that begins with this line."""
    lines = page.splitlines()
    start = lines.index("    " + first_line)
    end = next(at for at in range(start, len(lines)) if lines[at] and not lines[at].startswith("    "))
    return textwrap.dedent("\n".join(lines[start:end]))


def replaced(text, values):
    """The text with other ports, paths and times; each must be in it."""
    for old, new in values.items():
        if old not in text:
            sys.exit(f"not in the example: {old}")
        text = text.replace(old, new)
    return text


def run(*command, exit=0, **options):
    result = subprocess.run(command, capture_output=True, text=True, timeout=PATIENCE, **options)
    if result.returncode != exit:
        sys.exit(f"{shlex.join(command)}: exit {result.returncode}, expected {exit}\n{result.stdout}{result.stderr}")
    return result.stdout + result.stderr


class Authority:
    """Signs certificates, and revokes them."""

    def __init__(self, folder):
        self.folder = folder
        folder.mkdir()
        (folder / "index.txt").touch()
        (folder / "ca.cnf").write_text(CA_CONFIGURATION.format(folder=folder))
        self.certificate = folder / "ca.pem"
        run("openssl", "req", "-x509", *self.key("ca"), "-days", "1", "-subj", f"/CN={folder.name}",
            "-out", str(self.certificate))

    def key(self, name):
        return ("-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                "-keyout", str(self.folder / f"{name}.key"))

    def sign(self, name):
        """A file with certificate and key."""
        request, signed, both = (self.folder / f"{name}.{kind}" for kind in ("csr", "crt", "pem"))
        run("openssl", "req", *self.key(name), "-subj", f"/CN={name}", "-addext", f"subjectAltName=DNS:{name}",
            "-out", str(request))
        run("openssl", "x509", "-req", "-in", str(request), "-CA", str(self.certificate),
            "-CAkey", str(self.folder / "ca.key"), "-CAcreateserial", "-copy_extensions", "copy", "-days", "1",
            "-out", str(signed))
        both.write_bytes(signed.read_bytes() + (self.folder / f"{name}.key").read_bytes())
        return both

    def ca(self, *arguments):
        run("openssl", "ca", "-config", str(self.folder / "ca.cnf"), "-cert", str(self.certificate),
            "-keyfile", str(self.folder / "ca.key"), *arguments)

    def revoke(self, name):
        self.ca("-revoke", str(self.folder / f"{name}.crt"))

    def revocations(self):
        file = self.folder / "crl.pem"
        self.ca("-gencrl", "-out", str(file))
        return file


class Lab:
    """A store with its server, and HAProxies before it."""

    def __init__(self, arguments, folder, ends):
        self.page = pathlib.Path(arguments.page).read_text()
        self.arguments = arguments
        self.folder = folder
        self.ends = ends
        (folder / "work").mkdir()
        run(arguments.tvl, "init", str(folder / "store"))
        self.clients = Authority(folder / "clients")
        self.servers = Authority(folder / "servers")
        self.proxy_port = self.start_server()

    def start(self, command, **options):
        process = self.ends.enter_context(subprocess.Popen(command, **options))
        self.ends.callback(process.terminate)
        return process

    def start_server(self):
        users = self.folder / "users"
        users.write_text("ann\twrite\nbob\tread\ndora\twrite\n")
        example_line = "tvlserver --config /srv/store/tvl.ini --listen-proxy 127.0.0.1:7442 --proxy-from 127.0.0.1 \\"
        command = replaced(example(self.page, example_line), {
            "/srv/store": str(self.folder / "store"), "/etc/tvl/users": str(users), ":7442": ":0",
            "\\\n": " ", "tvlserver ": f"{self.arguments.server} "})
        port_file = self.folder / "port"
        with open(self.folder / "log", "wb") as log:
            process = self.start([*shlex.split(command), "--proxy-port-file", str(port_file)], stderr=log)
        until = time.monotonic() + PATIENCE
        while not port_file.exists():
            if process.poll() is not None or time.monotonic() > until:
                sys.exit("the server does not start: " + self.log())
            time.sleep(0.01)
        return port_file.read_text().strip()

    def log(self):
        return (self.folder / "log").read_text()

    def start_haproxy(self, name, text, bind):
        """Starts HAProxy on a port that the system picks, and returns that."""
        listener = self.ends.enter_context(socket.create_server(("127.0.0.1", 0)))
        file = self.folder / f"{name}.cfg"
        # So that a run shows that idle clients are kept by the tunnel's own limit.
        file.write_text(replaced(text, {f"bind {bind}": f"bind fd@{listener.fileno()}", "30s": "1s"}) + "\n")
        run("haproxy", "-c", "-f", str(file), pass_fds=[listener.fileno()])
        self.start(["haproxy", "-db", "-f", str(file)], pass_fds=[listener.fileno()],
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return listener.getsockname()[1]

    def haproxy_of_server(self, name, certificate):
        text = replaced(example(self.page, "# /etc/haproxy/haproxy.cfg on the server"), {
            ":7442": f":{self.proxy_port}", "/etc/haproxy/tvl/server.pem": str(certificate),
            "/etc/haproxy/tvl/clients-ca.pem": str(self.clients.certificate),
            "/etc/haproxy/tvl/clients-crl.pem": str(self.clients.revocations())})
        return self.start_haproxy(name, text, ":7441")

    def haproxy_of_client(self, name, server_port, certificate):
        presented = "crt /etc/haproxy/tvl/client.pem"
        text = replaced(example(self.page, "# /etc/haproxy/haproxy.cfg on a client"), {
            "store.example.org:7441": f"127.0.0.1:{server_port}",
            presented: f"crt {certificate}" if certificate else "",
            "/etc/haproxy/tvl/server-ca.pem": str(self.servers.certificate)})
        return self.start_haproxy(name, text, "127.0.0.1:7440")

    def tvl(self, port, *words, exit):
        return run(self.arguments.tvl, "--tcp", f"127.0.0.1:{port}", "--work", str(self.folder / "work"),
                   "--timeout", "20", *words, exit=exit)


def check(lab):
    (lab.folder / "work" / "a.txt").write_text("from ann")
    stranger = Authority(lab.folder / "stranger")
    certificates = {name: lab.clients.sign(name) for name in ("ann", "bob", "carl", "dora")}
    lab.clients.revoke("dora")
    port = lab.haproxy_of_server("server", lab.servers.sign("store.example.org"))
    impostor = lab.haproxy_of_server("impostor", lab.servers.sign("other.example.org"))
    put, get, ping = ("put", "a.txt"), ("get", "-f", "a.txt"), ("ping",)
    hold = ("lock", "ORD1", "--", "sleep", "3")
    rows = [  # who, certificate, server, command, exit code, what is printed
        ("accepted", certificates["ann"], port, ping, 0, "version"),
        ("accepted", certificates["ann"], port, put, 0, ""),
        ("accepted, idle", certificates["ann"], port, hold, 0, ""),
        ("reader", certificates["bob"], port, get, 0, ""),
        ("reader", certificates["bob"], port, put, 7, "does not allow"),
        ("not listed", certificates["carl"], port, ping, 7, "certificate"),
        ("revoked", certificates["dora"], port, ping, 5, "no usable reply"),
        ("other authority", stranger.sign("ann"), port, ping, 5, "no usable reply"),
        ("without a certificate", None, port, ping, 5, "no usable reply"),
        ("accepted, other server", certificates["ann"], impostor, ping, 5, "no usable reply"),
    ]
    for number, (who, certificate, server_port, command, exit, printed) in enumerate(rows):
        own_port = lab.haproxy_of_client(f"client{number}", server_port, certificate)
        output = lab.tvl(own_port, *command, exit=exit)
        if printed not in output:
            sys.exit(f"{who}: {command[0]} printed: {output}")
        print(f"{who}: {shlex.join(command)}: exit {exit}", flush=True)
    if (lab.folder / "store" / "a.txt").read_text() != "from ann":
        sys.exit("the file did not arrive")
    log = lab.log()
    users = set(re.findall(r'"[^/"]*/([^/"]*)/tvlc', log))
    if users != {"ann", "bob", "carl"}:
        sys.exit(f"the log does not have the users of the certificates, but {users}:\n{log}")
    if log.count(" end ") != log.count(" enter ") + 1:  # the one that is not listed
        sys.exit("connections of HAProxy's own were logged:\n" + log)


def main():
    parser = argparse.ArgumentParser()
    for name in ("--page", "--tvl", "--server"):
        parser.add_argument(name, required=True)
    with tempfile.TemporaryDirectory() as folder, contextlib.ExitStack() as ends:
        check(Lab(parser.parse_args(), pathlib.Path(folder), ends))
    print("haproxy: all passed")


main()
