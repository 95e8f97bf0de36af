# Sourced by the mail comparison scripts: starts an Exim of the bench's own in the foreground on
# a free loopback port, with its spool and configuration under $work, accepting every message
# up to the size given and throwing it away (queue only). Sets $port and $pid; the caller's EXIT
# trap stops it. Usage: start_bench_exim 200M
start_bench_exim() {
  local limit=$1
  port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
  mkdir -p "$work/spool"
  cat > "$work/exim.conf" <<CONF
primary_hostname = bench.test
spool_directory = $work/spool
log_file_path = $work/%slog
exim_user = $(id -un)
exim_group = $(id -gn)
never_users =
keep_environment =
queue_only = true
local_interfaces = 127.0.0.1
host_lookup =
rfc1413_hosts =
message_size_limit = $limit
acl_smtp_rcpt = acl_rcpt
begin acl
acl_rcpt:
  accept
begin routers
all:
  driver = accept
  transport = nowhere
begin transports
nowhere:
  driver = appendfile
  file = /dev/null
CONF
  exim4 -C "$work/exim.conf" -bdf -oX "$port" >"$work/exim.out" 2>&1 &
  pid=$!
  for _ in $(seq 100); do (exec 3<>/dev/tcp/127.0.0.1/"$port") 2>/dev/null && break; sleep 0.05; done
}
