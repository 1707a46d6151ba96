# Appends the digest of a program's file to it; the program compares them when it starts
# (src/app/entry/integrity.h).
#   cmake -DFILE=<program> -P seal.cmake
file(SHA256 ${FILE} digest)
file(APPEND ${FILE} "KALVOR-SEAL-SHA256:${digest}")
