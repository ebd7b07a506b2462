#!/bin/sh
# A mail server for one mail over TLS: smtp_sink.sh PORT FILE. Keeps what the client says in FILE.
port=$1 file=$2
cd "$(mktemp -d)" || exit 1
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key -out cert -subj /CN=sink -days 2 2>/dev/null
mkfifo said answered
openssl s_server -quiet -naccept 1 -accept "$port" -cert cert -key key <answered >said 2>/dev/null &
exec 4>answered
exec 3<said
say() { printf '%s\r\n' "$1" >&4; }
say '220 sink'
in_data=
while IFS= read -r line <&3; do
    printf '%s\n' "$line" >>"$file"
    if [ -n "$in_data" ]; then
        case $line in .?)
            in_data=
            say '250 kept'
            ;;
        esac
        continue
    fi
    case $line in
    EHLO* | HELO*) say '250 sink' ;;
    'AUTH LOGIN'*)
        say '334 VXNlcm5hbWU6'
        IFS= read -r user <&3
        printf '%s\n' "$user" >>"$file"
        say '334 UGFzc3dvcmQ6'
        ;;
    MAIL* | RCPT*) say '250 fine' ;;
    DATA*)
        in_data=1
        say '354 go on'
        ;;
    QUIT*)
        say '221 bye'
        break
        ;;
    *) say '235 welcome' ;;
    esac
done
