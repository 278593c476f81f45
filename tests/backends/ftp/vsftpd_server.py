#!/usr/bin/python3
"""usage: vsftpd_server.py ROOT PORTFILE PROGRAM
Lets vsftpd serve ROOT to anonymous users on loopback, where ROOT/drop can be written to, nothing be replaced, and no
file named denied... be made. It writes its port to PORTFILE when it listens, and ends with its parent, at the latest after ten minutes.
"""
import ctypes
import os
import pwd
import signal
import socket
import subprocess
import sys

root, port_file, program = sys.argv[1:]
folder = os.path.dirname(port_file)
is_root = os.getuid() == 0
user = "daemon" if is_root else pwd.getpwuid(os.getuid()).pw_name

os.makedirs(os.path.join(folder, "empty"))
os.makedirs(os.path.join(root, "drop"))
os.chmod(os.path.join(root, "drop"), 0o777)
configuration = os.path.join(folder, "vsftpd.conf")
with open(configuration, "w") as file:
    file.write(f"""listen=NO
anonymous_enable=YES
anon_upload_enable=YES
anon_root={root}
ftp_username={user}
run_as_launching_user={"NO" if is_root else "YES"}
secure_chroot_dir={folder}/empty
write_enable=YES
deny_file=denied*
xferlog_enable=NO
""")

listener = socket.create_server(("127.0.0.1", 0))
PR_SET_PDEATHSIG = 1
ctypes.CDLL(None).prctl(PR_SET_PDEATHSIG, signal.SIGTERM)
signal.alarm(600)
with open(port_file + ".new", "w") as file:
    file.write(str(listener.getsockname()[1]))
os.rename(port_file + ".new", port_file)
while True:
    connection, _ = listener.accept()
    subprocess.Popen([program, configuration], stdin=connection, stdout=connection, stderr=subprocess.DEVNULL)
    connection.close()
