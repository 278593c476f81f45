#!/usr/bin/python3
"""usage: ftp_server.py ROOT PORTFILE
An FTP server on loopback whose accounts misbehave, each in its own way. It writes its port to PORTFILE
when it listens, and ends with its parent, at the latest after ten minutes.
"""
import ctypes
import os
import signal
import socket
import sys
import warnings

warnings.simplefilter("ignore")
from pyftpdlib.authorizers import DummyAuthorizer  # noqa: E402
from pyftpdlib.handlers import DTPHandler, FTPHandler  # noqa: E402
from pyftpdlib.log import config_logging  # noqa: E402
from pyftpdlib.servers import FTPServer  # noqa: E402

PASSWORD = "a:b@c d%41#"
ENOUGH = 256 * 1024  # bytes after which a fault happens
PR_SET_PDEATHSIG = 1


class Data(DTPHandler):
    ac_in_buffer_size = 16384

    def handle_read(self):
        user = self.cmd_channel.username
        if self.receive and self.tot_bytes_received >= ENOUGH:
            if user == "cut":
                # The whole connection, without a word.
                for channel in (self.socket, self.cmd_channel.socket):
                    channel.shutdown(socket.SHUT_RDWR)
                return
            if user == "silent":
                self.ioloop.unregister(self._fileno)
                return
        super().handle_read()

    handle_read_event = handle_read


# What an account gets in place of the command's own answer.
ANSWERS = {
    ("quota", "STOR"): "552 Quota exceeded.",
    ("busy", "STOR"): "450 Try again later.",
    ("short", "SIZE"): "213 7",
    ("blind", "SIZE"): "550 Permission denied.",
    ("old", "SIZE"): "502 Command not implemented.",
    ("old", "EPSV"): "502 Command not implemented.",
}


class Commands(FTPHandler):
    dtp_handler = Data
    use_sendfile = False

    def pre_process_command(self, line, cmd, arg):
        passive_only = "500 Passive only." if cmd in ("PORT", "EPRT") else None
        answer = ANSWERS.get((self.username, cmd), passive_only)
        if answer:
            self.respond(answer)
        else:
            super().pre_process_command(line, cmd, arg)


def main():
    root, port_file = sys.argv[1:3]
    authorizer = DummyAuthorizer()
    authorizer.add_anonymous(root, perm="elw")
    for user in "plain cut silent quota busy short blind old".split():
        authorizer.add_user(user, PASSWORD, root, perm="elw")
    authorizer.add_user("reader", PASSWORD, root, perm="elr")
    authorizer.add_user("nopass", "", root, perm="elw")
    Commands.authorizer = authorizer
    Commands.auth_failed_timeout = 0
    config_logging(level=100)
    server = FTPServer(("127.0.0.1", 0), Commands)
    ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)
    signal.alarm(600)
    with open(port_file + ".new", "w") as file:
        file.write(str(server.address[1]))
    os.rename(port_file + ".new", port_file)
    server.serve_forever(handle_exit=False)


main()
