#!/bin/sh
# Installs the build into a temporary prefix, starts the installed server with
# the installed example configuration (on a port the system picks) and asks it
# for one class. Bounded: 30 s to start, 10 s for the answer, 30 s to stop.
# Usage: install_test.sh BUILD_DIR
set -eu
build="$1"
prefix="$(mktemp -d /tmp/kivo-install-XXXXXX)"
pid=""
cleanup() {
  if [ -n "$pid" ]; then kill -9 "$pid" 2>/dev/null || true; fi
  rm -rf "$prefix"
}
trap cleanup EXIT
fail() { echo "install test: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$prefix" >"$prefix/install.log" 2>&1 || { cat "$prefix/install.log"; fail "cmake --install failed"; }
server="$prefix/bin/kivo-cimxml-server"
example="$prefix/etc/kivo/kivo-cimxml-server.conf.example"
unit="$prefix/lib/systemd/system/kivo-cimxml-server.service"
for f in "$server" "$prefix/bin/kivo-mof" "$example" "$unit"; do [ -e "$f" ] || fail "$f not installed"; done
grep -q "^ExecStart=$prefix/bin/kivo-cimxml-server --config $prefix/etc/kivo/kivo-cimxml-server.conf\$" "$unit" ||
  fail "the unit's ExecStart does not name the installed server and configuration"
grep -q '^DynamicUser=yes$' "$unit" || fail "the unit does not run as an unprivileged user"
grep -q '^StateDirectory=kivo$' "$unit" || fail "the unit gives the repository no directory"
grep -q '^File = /var/lib/kivo/repository.db$' "$example" || fail "the example does not name the unit's repository file"

# The example's settings, on a free port and a repository file of the test's own.
sed -e 's/^Port = .*/Port = 0/' -e "s|^File = .*|File = $prefix/state/repository.db|" "$example" >"$prefix/test.conf"
"$server" --config "$prefix/test.conf" >"$prefix/out" 2>"$prefix/err" &
pid=$!
port=""
for _ in $(seq 300); do
  port="$(sed -n 's/^listening on 127.0.0.1:\([0-9]*\)$/\1/p' "$prefix/out")"
  [ -n "$port" ] && break
  kill -0 "$pid" 2>/dev/null || { cat "$prefix/err"; fail "the installed server exited"; }
  sleep 0.1
done
[ -n "$port" ] || { cat "$prefix/err"; fail "the installed server did not report its port"; }

body='<?xml version="1.0" encoding="utf-8"?><CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLEREQ><IMETHODCALL NAME="GetClass"><LOCALNAMESPACEPATH><NAMESPACE NAME="root"/><NAMESPACE NAME="cimv2"/></LOCALNAMESPACEPATH><IPARAMVALUE NAME="ClassName"><CLASSNAME NAME="KIVO_DiskDrive"/></IPARAMVALUE></IMETHODCALL></SIMPLEREQ></MESSAGE></CIM>'
answer="$(curl -sS --max-time 10 -H 'Content-Type: application/xml; charset="utf-8"' -H 'CIMOperation: MethodCall' \
  -H 'CIMMethod: GetClass' -H 'CIMObject: root/cimv2' --data-binary "$body" "http://127.0.0.1:$port/cimom")" ||
  fail "no answer from the installed server"
echo "$answer" | grep -q '<CLASS NAME="KIVO_DiskDrive"' || fail "unexpected answer: $answer"

kill -TERM "$pid"
for _ in $(seq 300); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
wait "$pid" || fail "the installed server did not exit cleanly"
pid=""
[ -s "$prefix/state/repository.db" ] || fail "the installed server made no repository file"
echo "install test: installed, started and answered on port $port"
