-- wrk script of the GetInstance case of scripts/bench: every connection POSTs
-- one CIM-XML GetInstance (KIVO_DiskDrive disk0 of host1) over and over.
--
-- scripts/bench runs wrk with one connection per thread, so that each
-- thread's count of 200 answers is one connection's count: a connection that
-- is never served shows as a zero, whatever the totals say. done() prints one
-- line for scripts/bench to read:
--   RESULT requests=N seconds=S p50_us=X p99_us=Y other=N errors=N counts=c1,c2,...
-- other: answers with another status than 200; errors: wrk's socket errors
-- (connect, read, write, timeout) summed.

-- The request body is the file named by KIVO_GETINSTANCE_BODY
-- (bench/e2e/getinstance-request.xml), which scripts/bench also posts once to
-- capture the answer that nginx then serves.
local file = assert(io.open(assert(os.getenv("KIVO_GETINSTANCE_BODY"), "KIVO_GETINSTANCE_BODY is not set"), "rb"))
local body = file:read("*a")
file:close()

wrk.method = "POST"
wrk.body = body
wrk.headers["Content-Type"] = 'application/xml; charset="utf-8"'
wrk.headers["CIMOperation"] = "MethodCall"
wrk.headers["CIMMethod"] = "GetInstance"
wrk.headers["CIMObject"] = "root/cimv2"

local threads = {}

function setup(thread)
  table.insert(threads, thread)
end

function init(args)
  ok = 0
  other = 0
end

function response(status, headers, body)
  if status == 200 then ok = ok + 1 else other = other + 1 end
end

function done(summary, latency, requests)
  local counts = {}
  local others = 0
  for _, t in ipairs(threads) do
    table.insert(counts, tostring(t:get("ok")))
    others = others + t:get("other")
  end
  local e = summary.errors
  io.write(string.format("RESULT requests=%d seconds=%.3f p50_us=%d p99_us=%d other=%d errors=%d counts=%s\n",
    summary.requests, summary.duration / 1e6, latency:percentile(50.0), latency:percentile(99.0), others,
    e.connect + e.read + e.write + e.timeout, table.concat(counts, ",")))
end
