#include "platform/posix/InternetErrors.h"

#include "platform/Internet.h"
#include "platform/posix/CertificateCheck.h"


namespace zu::platform {
namespace {

// Failures where the server's reply is the explanation the caller should read.
bool IsFtpReplyError(CURLcode code)
{
    switch (code) {
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_REMOTE_ACCESS_DENIED:
    case CURLE_FTP_COULDNT_SET_TYPE:
    case CURLE_FTP_COULDNT_RETR_FILE:
    case CURLE_QUOTE_ERROR:
    case CURLE_UPLOAD_FAILED:
    case CURLE_FTP_PORT_FAILED:
    case CURLE_FTP_COULDNT_USE_REST:
    case CURLE_BAD_DOWNLOAD_RESUME:
    case CURLE_REMOTE_FILE_NOT_FOUND:
    case CURLE_REMOTE_DISK_FULL:
    case CURLE_REMOTE_FILE_EXISTS:
        return true;
    default:
        return false;
    }
}

}  // namespace

uint32_t InternetErrorFromCurl(CURLcode code, bool bFtp, long nVerifyResult)
{
    if (bFtp && IsFtpReplyError(code))
        return INET_ERROR_EXTENDED_ERROR;
    switch (code) {
    case CURLE_OK:
        return INET_ERROR_SUCCESS;
    case CURLE_URL_MALFORMAT:
        return INET_ERROR_INVALID_URL;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
        return INET_ERROR_NAME_NOT_RESOLVED;
    case CURLE_COULDNT_CONNECT:
    case CURLE_FTP_CANT_GET_HOST:
    case CURLE_FTP_ACCEPT_FAILED:
        return INET_ERROR_CANNOT_CONNECT;
    case CURLE_FTP_WEIRD_PASV_REPLY:
    case CURLE_FTP_WEIRD_227_FORMAT:
        return INET_ERROR_FTP_NO_PASSIVE_MODE;
    case CURLE_LOGIN_DENIED:
    case CURLE_FTP_WEIRD_PASS_REPLY:
        // What the Windows Internet API reports for a login the FTP server refuses (530).
        return INET_ERROR_LOGIN_FAILURE;
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_FTP_ACCEPT_TIMEOUT:
        return INET_ERROR_TIMEOUT;
    case CURLE_PARTIAL_FILE:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return INET_ERROR_CONNECTION_ABORTED;
    case CURLE_UNSUPPORTED_PROTOCOL:  // also an HTTP/0.9 answer, which is refused
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
    case CURLE_HTTP3:
        return INET_ERROR_HTTP_INVALID_SERVER_RESPONSE;
    case CURLE_TOO_MANY_REDIRECTS:
        return INET_ERROR_HTTP_REDIRECT_FAILED;
    case CURLE_PEER_FAILED_VERIFICATION:
        return CCertificateCheck::ErrorOf(nVerifyResult);
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        return INET_ERROR_SEC_INVALID_CERT;
    case CURLE_SSL_INVALIDCERTSTATUS:
        return INET_ERROR_SEC_CERT_REV_FAILED;
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CLIENTCERT:
        return INET_ERROR_CLIENT_AUTH_CERT_NEEDED;
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CRL_BADFILE:
        return INET_ERROR_SECURITY_CHANNEL_ERROR;
    case CURLE_BAD_CONTENT_ENCODING:
        return INET_ERROR_DECODING_FAILED;
    case CURLE_ABORTED_BY_CALLBACK:
        return INET_ERROR_OPERATION_CANCELLED;
    case CURLE_OUT_OF_MEMORY:
        return INET_ERROR_NOT_ENOUGH_MEMORY;
    case CURLE_FAILED_INIT:
        return INET_ERROR_NOT_INITIALIZED;
    default:
        // Whatever else curl reports came from the server's answer or the exchange with it.
        return bFtp ? INET_ERROR_EXTENDED_ERROR : INET_ERROR_INTERNAL_ERROR;
    }
}

std::u16string InternetErrorText(uint32_t nError)
{
    switch (nError) {
    case INET_ERROR_TIMEOUT: return u"The operation timed out.";
    case INET_ERROR_EXTENDED_ERROR: return u"The server returned extended information.";
    case INET_ERROR_INTERNAL_ERROR: return u"An internal error occurred.";
    case INET_ERROR_INVALID_URL: return u"The URL is invalid.";
    case INET_ERROR_UNRECOGNIZED_SCHEME: return u"The URL does not use a recognized protocol.";
    case INET_ERROR_NAME_NOT_RESOLVED: return u"The server name or address could not be resolved.";
    case INET_ERROR_INVALID_OPTION: return u"The option is invalid.";
    case INET_ERROR_INCORRECT_PASSWORD: return u"The login was refused: the user name or password is incorrect.";
    case INET_ERROR_LOGIN_FAILURE: return u"The login failed.";
    case INET_ERROR_INVALID_OPERATION: return u"The operation is invalid.";
    case INET_ERROR_OPERATION_CANCELLED: return u"The operation was cancelled because its handle was closed.";
    case INET_ERROR_INCORRECT_HANDLE_TYPE: return u"The handle is of the wrong type for this operation.";
    case INET_ERROR_INCORRECT_HANDLE_STATE: return u"The handle is in the wrong state for this operation.";
    case INET_ERROR_CANNOT_CONNECT: return u"A connection with the server could not be established.";
    case INET_ERROR_CONNECTION_ABORTED: return u"The connection with the server was ended.";
    case INET_ERROR_CONNECTION_RESET: return u"The connection with the server was reset.";
    case INET_ERROR_SEC_CERT_DATE_INVALID: return u"The server's certificate is out of date.";
    case INET_ERROR_SEC_CERT_CN_INVALID: return u"The server's certificate is for another name.";
    case INET_ERROR_INVALID_CA: return u"The server's certificate was issued by an unknown authority.";
    case INET_ERROR_SEC_CERT_REVOKED: return u"The server's certificate has been revoked.";
    case INET_ERROR_SEC_INVALID_CERT: return u"The server's certificate is invalid.";
    case INET_ERROR_SECURITY_CHANNEL_ERROR: return u"The secure channel failed.";
    case INET_ERROR_FTP_TRANSFER_IN_PROGRESS: return u"An FTP file transfer is in progress on this connection.";
    case INET_ERROR_FTP_NO_PASSIVE_MODE: return u"The FTP server refused passive mode.";
    case INET_ERROR_HTTP_HEADER_NOT_FOUND: return u"The requested header was not found.";
    case INET_ERROR_HTTP_INVALID_SERVER_RESPONSE: return u"The server returned an invalid or unrecognized response.";
    case INET_ERROR_HTTP_INVALID_HEADER: return u"The header is invalid.";
    case INET_ERROR_HTTP_INVALID_QUERY_REQUEST: return u"The information query is invalid.";
    case INET_ERROR_HTTP_HEADER_ALREADY_EXISTS: return u"The header already exists.";
    case INET_ERROR_HTTP_REDIRECT_FAILED: return u"The redirection failed.";
    case INET_ERROR_DECODING_FAILED: return u"The content could not be decoded.";
    default: return std::u16string();
    }
}

}  // namespace zu::platform
