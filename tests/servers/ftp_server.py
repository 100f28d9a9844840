"""FTP servers for the network tests (pyftpdlib): one user with a password, no anonymous login,
passive data ports from a small loopback range. A second control port serves the same account
through a server that does not know the SIZE command.

Run with Debian's /usr/bin/python3:
    ftp_server.py --port N --nosize-port M --passive FIRST-LAST --home DIR --user U --password P --log FILE
"""
import argparse
import logging

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer


class NoSizeHandler(FTPHandler):
    proto_cmds = {name: info for name, info in FTPHandler.proto_cmds.items() if name != "SIZE"}


def make_handler(base, authorizer, passive_ports):
    handler = type(base.__name__ + "ForTests", (base,), {})
    handler.authorizer = authorizer
    handler.passive_ports = passive_ports
    handler.permit_foreign_addresses = False
    handler.banner = "ZUReader test FTP server ready."
    return handler


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, required=True)
    parser.add_argument("--nosize-port", type=int, required=True)
    parser.add_argument("--passive", required=True)
    parser.add_argument("--home", required=True)
    parser.add_argument("--user", required=True)
    parser.add_argument("--password", required=True)
    parser.add_argument("--log", required=True)
    options = parser.parse_args()
    logging.basicConfig(filename=options.log, level=logging.DEBUG,
                        format="%(asctime)s %(message)s")

    authorizer = DummyAuthorizer()
    authorizer.add_user(options.user, options.password, options.home, perm="elradfmw")
    first, last = (int(port) for port in options.passive.split("-"))
    passive_ports = list(range(first, last + 1))

    # Both servers register with the same I/O loop; serving one serves both.
    FTPServer(("127.0.0.1", options.nosize_port), make_handler(NoSizeHandler, authorizer, passive_ports))
    server = FTPServer(("127.0.0.1", options.port), make_handler(FTPHandler, authorizer, passive_ports))
    server.serve_forever()


if __name__ == "__main__":
    main()
