#!/usr/bin/env bash
# One synchronisation as a shell script would do it: curl for the requests, jq for the rest.
# usage: curl-jq.sh TELEVISION-FOLDER
set -euo pipefail
tv=$1

ini() { sed -n "/^\[$1\]/,/^\[/s/^$2 *= *//p" "$tv/tv.ini"; }
b64url() { base64 -w0 | tr '+/' '-_' | tr -d '='; }
store() {
    mkdir -p "$(dirname "$1")"
    cat >"$1.new"
    mv "$1.new" "$1"
}

login=$(ini sso login_id)
ca=$(ini http ca_file)
[[ $ca = /* ]] || ca=$tv/$ca
connect=()
IFS=';' read -ra targets <<<"$(ini http connect_to)"
for target in "${targets[@]}"; do
    [ -n "$target" ] && connect+=(--connect-to "$target")
done
agent="User-Agent: $(ini system model);$(ini system software_version);bt-orbmanager=1.0.0;Tizen=$(ini system tizen_version)"
auth=https://auth.quorlen.example
cloud=https://api.cloud.quorlen.example
keys=$tv/keys
devices=$tv/settings/db/com.quorlen.tv.bt-orbmanager/btinfosync/devices
ask() { curl --silent --show-error --fail --http1.1 --cacert "$ca" "${connect[@]}" "$@"; }

if [ ! -e "$keys/InfoSyncJWT" ]; then
    verifier=$(head -c 32 /dev/urandom | b64url)
    code=lc1.$(printf %s "$login" | b64url).$(printf %s "$verifier" | sha256sum | cut -c1-64 | xxd -r -p | b64url).$(head -c 16 /dev/urandom | b64url)
    printf '<rsp stat="ok"><auth_code>%s</auth_code></rsp>' "$code" | store "$keys/InfoSyncAuthCode"
    ask "$auth/auth/openapi/v1/oauth2/accesstoken" \
        -H 'Content-Type: application/x-www-form-urlencoded; charset=utf-8' -H 'Package-Name: com.quorlen.tv.bt-orbmanager' \
        -H 'Package-Version: 1.0.0' -H 'Client-OS-Verseion: Tizen 6.5' -H 'Client-Model: Ostra9' \
        -d "code=$code&client_id=58hq27rnez&auth_server_url=auth.quorlen.example&code_verifier=$verifier" |
        jq -c --arg u "$login" '{($u): (.rsp.result + {issued_time_in_second: (now | floor)})}' |
        store "$keys/InfoSyncAccessToken"
    IFS=$'\t' read -r uid token < <(jq -r --arg u "$login" '.[$u] | [.userId, .access_token] | @tsv' "$keys/InfoSyncAccessToken")
    who=(-H "$agent;" -H "x-kc-uid: $uid" -H "x-kc-access-token: $token" -H 'x-kc-app-id: 58hq27rnez'
        -H 'Content-Type: application/json; charset=UTF-8')
    cdid=$(openssl kdf -keylen 16 -kdfopt digest:SHA1 -kdfopt "pass:$(ini system tizen_id)" -kdfopt salt:MERVAL \
        -kdfopt iter:30 PBKDF2 | tr -d ':\n')
    jq -nc --arg c "$cdid" --arg v "$(ini system tizen_version)" --arg m "$(ini system model)" \
        '{device: {deviceIds: {cdid: $c}, osType: 2, osVersion: $v, deviceType: "10", model: $m},
          service: {package: {packageVersion: "1.0.0", packageVersionCode: "1.0.0"}}}' |
        ask "$cloud/user/v7/activate" "${who[@]}" -d @- |
        jq -c --arg u "$login" '{($u): .}' | store "$keys/InfoSyncServiceActivationInfo"
    ask "$cloud/auth/kc/tokens/v1/app" "${who[@]}" -d '' \
        -H "x-kc-dvc-id: $(jq -r --arg u "$login" '.[$u].dvcId' "$keys/InfoSyncServiceActivationInfo")" |
        jq -c --arg u "$login" '{($u): .}' | store "$keys/InfoSyncJWT"
fi

[ -e "$keys/InfoSyncRecords" ] || echo '{}' | store "$keys/InfoSyncRecords"
[ -s "$devices" ] || echo '{}' | store "$devices"
mark=$(jq -r --arg u "$login" '.[$u].meta.synced_timestamp // 0' "$keys/InfoSyncRecords")
query='?table_ver=1'
[ "$mark" -lt 1 ] || query+="&changed_after=$mark&coldStartable=true"
ask "$cloud/data/v2/com.quorlen.bluetooth.device_sync$query" -H "$agent; ;" \
    -H "Authorization: Bearer $(jq -r --arg u "$login" '.[$u].accessToken' "$keys/InfoSyncJWT")" |
    jq -c --arg u "$login" --slurpfile old "$keys/InfoSyncRecords" '
        . as $batch | $old[0] | .[$u] = {meta: $batch.meta,
            records: (reduce ((.[$u].records // [])[], $batch.records[]) as $r ({}; .[$r.record_id] = $r) | [.[]])}' |
    store "$keys/InfoSyncRecords"
jq -c --arg u "$login" --arg bonded "$(ini bluetooth bonded)" --slurpfile old "$devices" '
    ($bonded | split(";")) as $paired | .[$u].records
    | (map(select(.address == null) | [.record_id])) as $gone
    | map(select(.address != null and (.uuids // "" | split(",") | index("0000110b-0000-1000-8000-00805f9b34fb"))
                 and (.address as $a | $paired | index($a) | not))
          | {key: .record_id, value: {address, deleted_on_tv: false, name, users: [$u]}})
    | ($old[0] | delpaths($gone)) + from_entries' "$keys/InfoSyncRecords" | store "$devices"
