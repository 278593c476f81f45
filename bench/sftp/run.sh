#!/bin/sh
# Builds the release core library and times its SFTP copies against OpenSSH's own client, `sftp -b`, side by
# side in a sandbox: medians of five rounds, their ratio, and the log-ins that one round of ours takes.
# usage: run.sh [ROUNDS]
set -eu
cd "$(dirname "$0")/../.."
cmake --preset linux-release > /dev/null
cmake --build --preset linux-release --target sftp_bench
simulators/peers.sh build
SP_SERVERS=sshd exec simulators/sandbox.sh build/linux-release/sandbox/sftp_bench \
  build/linux-release/bin/sftp_bench "$@"
