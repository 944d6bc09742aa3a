# Writes the default image IMAGE from the configuration BODY: a header with its length and digest, an
# empty line, then the file as it is.
file(SIZE ${BODY} length)
file(MD5 ${BODY} digest)
file(READ ${BODY} body)
file(WRITE ${IMAGE} "Version: 1\nLength: ${length}\nMD5sum: ${digest}\n\n${body}")
