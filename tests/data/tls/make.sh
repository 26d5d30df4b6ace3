#!/usr/bin/env bash
# Makes the certificates of the TLS end-to-end cases (tests/e2e/cases/tls.json):
#   ca.pem            a test CA
#   server.pem        key and certificate for IP 127.0.0.1, signed by ca.pem
#   wrong-name.pem    key and certificate for DNS other.example, signed by ca.pem
#   other-server.pem  key and certificate for IP 127.0.0.1, signed by another CA
# and prints the sha256// pin of each server key. The files are kept in the
# tree (valid for 100 years); run this again only to replace them, and then
# update the pins in the case file.
# Usage: bash make.sh   (in this folder)
set -euo pipefail
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

ca() {   # name subject
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 36500 \
        -subj "/CN=$2" -keyout "$work/$1.key" -out "$work/$1.pem" 2>/dev/null
}

server() {   # output ca subject-alt-name
    openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj "/CN=rbz test server" \
        -keyout "$work/$1.key" -out "$work/$1.csr" 2>/dev/null
    printf 'subjectAltName=%s\nbasicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n' "$3" >"$work/$1.ext"
    openssl x509 -req -in "$work/$1.csr" -CA "$work/$2.pem" -CAkey "$work/$2.key" -CAcreateserial \
        -days 36500 -extfile "$work/$1.ext" -out "$work/$1.crt" 2>/dev/null
    cat "$work/$1.key" "$work/$1.crt" >"$1.pem"
    printf '%s sha256//%s\n' "$1.pem" "$(openssl pkey -in "$work/$1.key" -pubout -outform der |
        openssl dgst -sha256 -binary | base64)"
}

ca ca "rbz test CA"
ca other-ca "rbz other test CA"
cp "$work/ca.pem" ca.pem
server server ca "IP:127.0.0.1"
server wrong-name ca "DNS:other.example"
server other-server other-ca "IP:127.0.0.1"
