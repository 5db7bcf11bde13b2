#ifndef CORVANA_CORVANA_H
#define CORVANA_CORVANA_H

/*
 * The SDK's C interface, for wrapper frameworks and hosts written in C. It mirrors the `corvana::Corvana` facade
 * (Corvana.hpp) with plain C types, and is usable from C99 and C++.
 *
 *   corvana_platform_options options = {0};
 *   options.data_directory = "/var/lib/my-app";
 *   options.app_version = "1.4.0";
 *   corvana_platform_install_linux(&options);
 *   corvana_initialize("acme", "app-secret", "flutter", NULL);
 *   corvana_report_action("checkout", NULL);
 *
 * Conventions
 * - Status: functions that can fail answer an `int`: CORVANA_OK (0) or one of the negative CORVANA_ERROR_*
 *   codes. Yes/no questions answer 1 or 0 (0 as well when the question could not be answered).
 * - NULL: a NULL where a text is required (an account id, a name, a URL) answers CORVANA_ERROR_NULL_ARGUMENT and
 *   does nothing. Optional texts (JSON payloads, a session type) may be NULL and then mean "none". A NULL handle
 *   is an error for setters and is ignored by the *_free functions.
 * - Strings handed in are UTF-8 and only read during the call; the SDK keeps copies. A text that is not valid
 *   UTF-8 answers CORVANA_ERROR_INVALID_ARGUMENT and records nothing. The record setters take any bytes, but a
 *   record holding invalid UTF-8 is refused the same way when handed to the SDK (and its *_to_json fails).
 * - Strings handed out are allocated with malloc and belong to the caller, who frees them with
 *   corvana_string_free (or free); NULL when the call failed.
 * - JSON texts that do not parse answer CORVANA_ERROR_INVALID_JSON and record nothing.
 * - No C++ exception leaves the interface: a failure inside the SDK is logged as
 *   "CorvanaSDK-C interface: <function> failed: <reason>" and answers CORVANA_ERROR_INTERNAL (or NULL / 0).
 * - Records (lead, action details) are copied when handed to the SDK: the handle may be changed or freed right
 *   after the call.
 */

#include <stddef.h>
#include <stdint.h>

#include "corvana/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status codes -------------------------------------------------------------------------------------------- */

#define CORVANA_OK 0
#define CORVANA_ERROR_NULL_ARGUMENT (-1)    /* a required argument was NULL */
#define CORVANA_ERROR_INVALID_JSON (-2)     /* a JSON text did not parse, or is not of the kind asked for */
#define CORVANA_ERROR_INVALID_ARGUMENT (-3) /* an argument the SDK refused (an incomplete signature ...) */
#define CORVANA_ERROR_TIMEOUT (-4)          /* corvana_wait_until_idle ran out of time */
#define CORVANA_ERROR_INTERNAL (-5)         /* the SDK failed inside; the reason is in its log */

/* The SDK's version ("0.8.4"); a static string, never freed. */
CORVANA_EXPORT const char* corvana_sdk_version(void);

/* Frees a string the SDK handed out. NULL is ignored. */
CORVANA_EXPORT void corvana_string_free(char* text);

/* ---- Platform ------------------------------------------------------------------------------------------------ */

/* Receives every line of the SDK's log, one complete message per call, from any thread. */
typedef void (*corvana_log_callback)(void* context, const char* line);

/*
 * The Linux platform's settings. Zero-initialise it and set what you need: a NULL text or a zero count keeps the
 * default (see LinuxPlatformOptions in platform.h).
 */
typedef struct corvana_platform_options {
  const char* data_directory;    /* preferences, database, caches; default ~/.local/share/corvana/<bundle id> */
  const char* app_version;       /* the host's version, sent to the service; default "1.0" */
  const char* bundle_identifier; /* default "io.corvana.host" */
  const char* bundle_path;       /* folder holding CRVResources.bundle; default the installed share/corvana */
  const char* service_domain;    /* default "corvana.io"; may carry a port ("corvana.test:8443") */
  const char* ca_file;           /* PEM file trusted instead of the system's store */
  const char* const* resolve;    /* host-to-address overrides, each "HOST:PORT:ADDRESS" */
  size_t resolve_count;

  /* Device facts; NULL is read from the system. */
  const char* device_model;
  const char* device_machine;
  const char* device_name;
  const char* system_version;
  const char* locale_identifier;
  const char* const* preferred_languages;
  size_t preferred_languages_count;
  const char* time_zone_name;
  const char* const* carrier_names; /* a NULL entry is a provider without a carrier name */
  size_t carrier_names_count;

  /* Where log lines go; standard error when NULL. */
  corvana_log_callback log;
  void* log_context;
} corvana_platform_options;

/*
 * Makes the Linux platform from the options (NULL: every default) and installs it for the process. Call it once,
 * before any other call into the SDK. The calling thread becomes the main thread of the main queue.
 */
CORVANA_EXPORT int corvana_platform_install_linux(const corvana_platform_options* options);

/* ---- Start-up ------------------------------------------------------------------------------------------------ */

/*
 * Starts the SDK for an account. The three texts are required (NULL: CORVANA_ERROR_NULL_ARGUMENT); empty texts
 * are refused by the SDK with a log line. `launch_options_json` is a JSON object or NULL. CORVANA_OK means the
 * start was handed to the SDK's queue; the log tells how it ended.
 */
CORVANA_EXPORT int corvana_initialize(const char* account_id, const char* app_secret, const char* framework_type,
                                      const char* launch_options_json);
/* Time-out of configuration requests, in seconds; values below 5 count as 5. */
CORVANA_EXPORT int corvana_set_timeout_interval(int64_t seconds);
/* 1 once the SDK holds its app secret. */
CORVANA_EXPORT int corvana_sdk_initialized(void);
/* The install identifier, an upper-case UUID; free with corvana_string_free. NULL on failure. */
CORVANA_EXPORT char* corvana_get_device_id(void);

/* ---- Sessions ------------------------------------------------------------------------------------------------ */

CORVANA_EXPORT int corvana_start_session(const char* name);
CORVANA_EXPORT int corvana_end_session(const char* name);
/* Closes every open session; `type` is not used and may be NULL. */
CORVANA_EXPORT int corvana_end_all_sessions(const char* type);
/* Forgets every open session without storing anything. */
CORVANA_EXPORT int corvana_discard_all_sessions(void);

/* ---- Actions ------------------------------------------------------------------------------------------------- */

typedef struct corvana_action_metadata corvana_action_metadata;

/* NULL when out of memory. */
CORVANA_EXPORT corvana_action_metadata* corvana_action_metadata_create(void);
CORVANA_EXPORT void corvana_action_metadata_free(corvana_action_metadata* metadata);
/* "Action Type" and "Action Details"; empty texts are ignored. */
CORVANA_EXPORT int corvana_action_metadata_set_type(corvana_action_metadata* metadata, const char* type);
CORVANA_EXPORT int corvana_action_metadata_set_details(corvana_action_metadata* metadata, const char* details);
/* "Action Metric" and "Action Length", as an integer or a floating number. */
CORVANA_EXPORT int corvana_action_metadata_set_metric_int(corvana_action_metadata* metadata, int64_t metric);
CORVANA_EXPORT int corvana_action_metadata_set_metric_double(corvana_action_metadata* metadata, double metric);
CORVANA_EXPORT int corvana_action_metadata_set_length_int(corvana_action_metadata* metadata, int64_t length);
CORVANA_EXPORT int corvana_action_metadata_set_length_double(corvana_action_metadata* metadata, double length);
/* A custom text value; ignored when the key or the value is empty. */
CORVANA_EXPORT int corvana_action_metadata_set_value(corvana_action_metadata* metadata, const char* key,
                                                     const char* value);
/* Replaces every detail with a JSON object (anything else: CORVANA_ERROR_INVALID_JSON, nothing changed). */
CORVANA_EXPORT int corvana_action_metadata_set_json(corvana_action_metadata* metadata, const char* json);
/* The details as a JSON object text; free with corvana_string_free. NULL for a NULL handle. */
CORVANA_EXPORT char* corvana_action_metadata_to_json(const corvana_action_metadata* metadata);

/* Records a custom action, with a copy of the details (NULL: none). */
CORVANA_EXPORT int corvana_report_action(const char* name, const corvana_action_metadata* metadata);

/* ---- Lead ---------------------------------------------------------------------------------------------------- */

typedef struct corvana_lead corvana_lead;

CORVANA_EXPORT corvana_lead* corvana_lead_create(void);
CORVANA_EXPORT void corvana_lead_free(corvana_lead* lead);
/* Empty values are ignored; an invalid e-mail address is dropped. */
CORVANA_EXPORT int corvana_lead_set_email(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_gender(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_first_name(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_last_name(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_address(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_city(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_state(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_country(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_postal_code(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_lead_source(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_facebook_id(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_twitter_id(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_linkedin_id(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_birthday(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_facebook_profile_url(corvana_lead* lead, const char* value);
CORVANA_EXPORT int corvana_lead_set_facebook_profile_pic_url(corvana_lead* lead, const char* value);
/* A custom field. */
CORVANA_EXPORT int corvana_lead_set_field(corvana_lead* lead, const char* field_name, const char* value);
/* The attributes as a JSON object text; free with corvana_string_free. NULL for a NULL handle. */
CORVANA_EXPORT char* corvana_lead_to_json(const corvana_lead* lead);

/* Records the user's attributes, from a copy of the lead. */
CORVANA_EXPORT int corvana_associate_lead(const corvana_lead* lead);

/* Sends every stored event now. */
CORVANA_EXPORT int corvana_report_all(void);

/* ---- Push notifications and deep links ----------------------------------------------------------------------- */

/* The device token as the push service gave it (raw bytes). NULL bytes with a zero length register nothing. */
CORVANA_EXPORT int corvana_register_push_device_token(const uint8_t* bytes, size_t length);
CORVANA_EXPORT int corvana_unregister_push_device_token(void);
/* The token as lower-case hexadecimal ("" when none); free with corvana_string_free. */
CORVANA_EXPORT char* corvana_get_push_device_token(void);
CORVANA_EXPORT int corvana_is_push_registered(void);
/* A notification the user opened, as the JSON text of its payload (NULL: none): recorded only ... */
CORVANA_EXPORT int corvana_track_push_notification(const char* payload_json);
/* ... or recorded and its tap action run. */
CORVANA_EXPORT int corvana_handle_push_notification(const char* payload_json);
/*
 * The notification centre's answer to a tapped notification, with the notification's payload as JSON. The
 * completion (may be NULL) is called before this returns, when the payload was accepted.
 */
CORVANA_EXPORT int corvana_did_receive_notification_response(const char* user_info_json,
                                                             void (*completion)(void* context), void* context);
/* A URL opened with the SDK's scheme ("crvn..."): 1 when the SDK took it, 0 when not, or a negative status. */
CORVANA_EXPORT int corvana_open_url(const char* url, const char* options_json);

/* ---- Secure mode --------------------------------------------------------------------------------------------- */

/*
 * Sets the signature the host's back end computed for the user. All four texts are required; a signature the SDK
 * refuses (an empty field, an invalid e-mail address; the reason is logged) answers CORVANA_ERROR_INVALID_ARGUMENT
 * and leaves the stored signature as it was.
 */
CORVANA_EXPORT int corvana_set_secure_signature(const char* access_key, const char* signature, const char* timestamp,
                                                const char* email);
CORVANA_EXPORT int corvana_remove_secure_signature(void);
CORVANA_EXPORT int corvana_is_secure_mode_enabled(void);

/* ---- Lifecycle ----------------------------------------------------------------------------------------------- */

/*
 * The host's lifecycle changes, posted as the application's notifications: the SDK acts on them once an
 * initialisation call has passed its checks.
 */
CORVANA_EXPORT int corvana_app_will_enter_foreground(void);
CORVANA_EXPORT int corvana_app_did_enter_background(void);

/* ---- Queues -------------------------------------------------------------------------------------------------- */

/* Runs the main queue's tasks, on the main thread, for hosts without their own loop. Answers how many ran. */
CORVANA_EXPORT int corvana_main_queue_drain(void);
/* Waits up to `timeout_ms` for a task, then runs every task queued by then. Answers how many ran. */
CORVANA_EXPORT int corvana_main_queue_drain_for(int timeout_ms);
/*
 * Waits until the SDK has nothing to do: its queues are empty, no start-up is under way and no report is in
 * flight. Called on the main thread, it runs the main queue meanwhile. CORVANA_ERROR_TIMEOUT after `timeout_ms`.
 */
CORVANA_EXPORT int corvana_wait_until_idle(int timeout_ms);

#ifdef __cplusplus
}
#endif

#endif /* CORVANA_CORVANA_H */
