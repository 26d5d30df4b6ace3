#!/usr/bin/env bash
# Validates the reply corpus (tests/data) and the replies of a real CIM
# server (tests/data/real-replies) against the CIM-XML DTD
# (tests/data/cim-dtd).
# Usage: bash xml_corpus.sh SRC_DIR BUILD_DIR
set -u

src=${1:?usage: xml_corpus.sh SRC_DIR BUILD_DIR}
data="$src/tests/data"
dtd="$data/cim-dtd/DSP0203_2.3.1.dtd"

command -v xmllint >/dev/null || { echo "xmllint not found (apt-get install libxml2-utils)"; exit 1; }
[ -r "$dtd" ] || { echo "DTD not found: $dtd"; exit 1; }

# The validator must be able to say no: a reply whose IRETURNVALUE holds
# an element the DTD does not allow there has to be refused.
bad=$(mktemp)
trap 'rm -f "$bad"' EXIT
cat >"$bad" <<'XML'
<?xml version="1.0" encoding="utf-8" ?>
<CIM CIMVERSION="2.0" DTDVERSION="2.0"><MESSAGE ID="1" PROTOCOLVERSION="1.0"><SIMPLERSP>
<IMETHODRESPONSE NAME="GetInstance"><IRETURNVALUE><KEYVALUE>1</KEYVALUE></IRETURNVALUE></IMETHODRESPONSE>
</SIMPLERSP></MESSAGE></CIM>
XML
if xmllint --noout --dtdvalid "$dtd" "$bad" 2>/dev/null; then
    echo "FAIL: the validator accepted an invalid document"
    exit 1
fi

status=0
count=0
for dir in "$data" "$data/real-replies"; do
    n=0
    for f in "$dir"/*.xml; do
        [ -e "$f" ] || continue
        n=$((n + 1))
        if xmllint --noout --dtdvalid "$dtd" "$f"; then
            echo "ok   $f"
        else
            echo "FAIL $f"
            status=1
        fi
    done
    if [ "$n" -eq 0 ]; then
        echo "FAIL: no documents in $dir"
        status=1
    fi
    count=$((count + n))
done
echo "$count documents checked"
exit $status
