#!/bin/bash
# telvotool_enrol.sh SYSTEM TELVOTOOL PROVIDER SOFTTOKEN NATIVE_SOFTTOKEN DIALOG_USER -- RUN...
# The contents of the certificates and requests that "telvotool enrol" makes. OpenSSL checks them.
. "$(dirname "$0")/telvotool_stand.sh"

# shown LABEL FILE: writes the certificate on card A to FILE.pem, and OpenSSL's description of it to "judge".
shown() {
  certificate_of 0 "$1" "$2.der"
  openssl x509 -inform DER -in "$2.der" -out "$2.pem"
  accept openssl verify -x509_strict -check_ss_sig -CAfile "$2.pem" "$2.pem"
  accept openssl x509 -in "$2.pem" -noout -text
}
# lines TEXT: the description has these lines, one after another; spaces around them are ignored.
lines() {
  local words
  words=$(tr -s ' ' <judge | sed 's/^ //; s/ $//')
  [[ $words == *"$1"* ]] || { cat judge; fail "not shown: $1"; }
}
no_line() { ! grep -q -- "$1" judge || { cat judge; fail "shown: $1"; }; }
# SHA-1 of the key in the SubjectPublicKeyInfo on standard input, as OpenSSL writes identifiers.
key_identifier() {
  openssl rsa -pubin -RSAPublicKey_out -outform DER 2>/dev/null | openssl dgst -sha1 -c | sed 's/.*= //' | tr a-f A-F
}
serial_of() { openssl x509 -in "$1" -noout -serial | sed 's/serial=//'; }

expect 0 register
echo "the help"
expect 0 enrol --help
says '--days N'
says '--eku LIST'
says 'clientAuth'

echo "bad input makes nothing"
refused() {
  expect 2 enrol signing "$@" --pin-file pin
  [ "$(objects 0)" = 0 ] || fail "enrol $* left something on the card"
}
for days in 0 36501 1000000 99999999999999999999 -1 +1 1.5 '' ten; do
  refused --days="$days"
  complains '--days takes a number from 1 to 36500'
done
for usage in nonsense clientauth 1 3.1 1.40 1..2 .1.2 1.2. 1.02 1.3.x 1.3.268435456 1.3.99999999999999999999 '' , clientAuth, ',clientAuth'; do
  refused --eku="$usage"
  complains '--eku takes a list like clientAuth,emailProtection'
done
complains 'clientAuth, codeSigning, emailProtection'
refused --eku clientAuth,clientAuth
complains 'clientAuth is there twice'
for subject in nonsense '' 'CN=' 'CN=Anna, O=' 'CN=Anna, C=Germany' 'C=D' 'X=Y' 'CN'; do
  refused --subject="$subject"
  complains 'a subject looks like this: "CN=Anna Example, O=Example Ltd, C=DE"'
done
refused --days 10 --request signing.p10
complains '--days is for a certificate'
refused --bits 512

echo "a certificate"
expect 0 enrol signing --subject 'CN=Anna Example, O=Example Ltd, C=DE' --days 30 --pin-file pin
says 'certificate: CN=Anna Example, O=Example Ltd, C=DE, until '
shown 'Anna Example' signing
lines 'Version: 3 (0x2)'
lines 'Signature Algorithm: sha256WithRSAEncryption'
identifier=$(openssl x509 -in signing.pem -noout -pubkey | key_identifier)
[ ${#identifier} = 59 ] || fail "no identifier of the key: $identifier"
lines "X509v3 extensions:
X509v3 Basic Constraints: critical
CA:FALSE
X509v3 Key Usage: critical
Digital Signature, Non Repudiation, Key Encipherment
X509v3 Subject Key Identifier:
$identifier
X509v3 Authority Key Identifier:
$identifier
Signature Algorithm: sha256WithRSAEncryption"
no_line 'Extended Key Usage'
no_line '(Negative)'
accept openssl x509 -in signing.pem -noout -checkend $((30 * 86400 - 3600))
refuse openssl x509 -in signing.pem -noout -checkend $((30 * 86400 + 3600))
[ "$(openssl x509 -in signing.pem -noout -subject)" = "$(openssl x509 -in signing.pem -noout -issuer | sed s/issuer/subject/)" ] ||
  fail "subject and issuer differ"

echo "serial numbers"
for name in second third fourth; do
  expect 0 enrol $name --bits 1024 --pin-file pin
  shown $name $name
done
for name in signing second third fourth; do
  serial_of $name.pem >>serials
done
# 16 octets of which the first is not 0 and has no sign bit.
[ "$(grep -cE '^[4-7][0-9A-F]{31}$' serials)" = 4 ] || fail "not positive numbers of 16 octets: $(cat serials)"
[ "$(sort -u serials | wc -l)" = 4 ] || fail "a serial number appears twice: $(cat serials)"

echo "what a key is for"
expect 0 enrol purpose --bits 1024 --eku clientAuth,emailProtection,1.3.6.1.4.1.268435455 --days 36500 --pin-file pin
shown purpose purpose
lines 'X509v3 Extended Key Usage:
TLS Web Client Authentication, E-mail Protection, 1.3.6.1.4.1.268435455
X509v3 Subject Key Identifier:'
accept openssl verify -x509_strict -purpose sslclient -CAfile purpose.pem purpose.pem
refuse openssl verify -x509_strict -purpose sslserver -CAfile purpose.pem purpose.pem
accept openssl x509 -in purpose.pem -noout -checkend $((36499 * 86400))
all=serverAuth,clientAuth,codeSigning,emailProtection,timeStamping,OCSPSigning,smartcardLogon
expect 0 enrol all --bits 1024 --eku $all --pin-file pin
shown all all
lines 'TLS Web Server Authentication, TLS Web Client Authentication, Code Signing, E-mail Protection, Time Stamping, OCSP Signing, Microsoft Smartcard Login'

echo "signatures with it"
expect 0 sign text --container signing --pin-file pin
accept openssl cms -verify -binary -inform DER -in text.p7s -content text -CAfile signing.pem -purpose any -out /dev/null
expect 0 verify text --signer signing.der

echo "a request"
expect 0 enrol office --request office.p10 --subject 'CN=Office, O=Example Ltd' --eku serverAuth,codeSigning --pin-file pin
openssl req -inform DER -in office.p10 -out office.csr
accept openssl req -in office.csr -verify -noout -text
lines 'Version: 1 (0x0)'
identifier=$(openssl req -in office.csr -noout -pubkey | key_identifier)
lines "Attributes:
Requested Extensions:
X509v3 Basic Constraints: critical
CA:FALSE
X509v3 Key Usage: critical
Digital Signature, Non Repudiation, Key Encipherment
X509v3 Extended Key Usage:
TLS Web Server Authentication, Code Signing
X509v3 Subject Key Identifier:
$identifier
Signature Algorithm: sha256WithRSAEncryption"
no_line 'Authority Key Identifier'
# An authority that grants the requested extensions.
openssl req -x509 -newkey rsa:2048 -nodes -keyout authority.key -subj '/CN=Authority' -out authority.pem \
  -addext keyUsage=critical,keyCertSign 2>/dev/null
printf 'authorityKeyIdentifier = keyid\n' >authority.ext
openssl x509 -req -in office.csr -CA authority.pem -CAkey authority.key -CAcreateserial -copy_extensions copy \
  -extfile authority.ext -out office.pem 2>/dev/null
accept openssl verify -x509_strict -purpose sslserver -CAfile authority.pem office.pem
expect 0 import-cert office office.pem --pin-file pin
expect 0 sign text --container office --out office.p7s --pin-file pin
accept openssl cms -verify -binary -inform DER -in office.p7s -content text -CAfile authority.pem -purpose any -out /dev/null
expect 0 enrol plain --bits 1024 --request plain.p10 --pin-file pin
accept openssl req -inform DER -in plain.p10 -verify -noout -text
lines 'Requested Extensions:'
no_line 'Extended Key Usage'

for name in signing second third fourth purpose all office plain; do expect 0 delete $name --yes --pin-file pin; done
[ "$(objects 0)" = 0 ] || fail "$(objects 0) objects remain on the card"
expect 0 unregister
echo "telvotool_enrol: $checks checks"
